// Finding source lines. A line of compiled Lua is compared with the source's lines near the place that the
// compiler tells.
#include "sourcelines.h"

#include "datablock.h"
#include "lua_api.h"
#include "moonscript.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <memory>
#include <set>

namespace {

constexpr int kLuaReach = 8;          // lines around a message's line in which its name is looked for
constexpr int kBefore = 3;            // lines before the compiler's place that may still be the right one
constexpr int kAfter = 12;            // lines after it, at least
constexpr int kMost = 80;             // lines after it, at most
constexpr double kNamed = 5.0;        // worth of a name out of the message
constexpr double kOperator = 0.4;     // worth of an operator or keyword, where a name's is 1
constexpr double kExact = 1.2;        // worth of being the very line that the compiler tells
constexpr double kFurther = 0.03;     // cost of each line away from there
constexpr double kOutside = 1.0;      // cost of a line that the compiler counts to another statement,
constexpr double kOutsideExact = 3.0; // where it tells the statement's own line
constexpr double kForeign = 0.15;     // cost of each name that the compiled line does not have

constexpr char kNoText[] = "(the error is "; // begins the message of an error that is no text

using Tokens = std::vector<std::string>;

bool isNameStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}

bool isNamePart(char c) {
    return isNameStart(c) || std::isdigit(static_cast<unsigned char>(c));
}

bool endsWith(const std::string& text, const char* ending) {
    const std::size_t length = std::strlen(ending);
    return text.size() >= length && text.compare(text.size() - length, length, ending) == 0;
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        if (!lines.back().empty() && lines.back().back() == '\r')
            lines.back().pop_back();
        start = end + 1;
    }
    return lines;
}

// Words of both languages that stand for the same, in Lua's spelling; "" for those that say nothing.
std::string commonWord(const std::string& word) {
    static const std::set<std::string> silent = {"local", "do",      "then",   "end",   "import", "from",
                                                 "class", "extends", "export", "using", "switch", "with"};
    if (word == "unless" || word == "when" || word == "elseif")
        return "if";
    return silent.count(word) ? "" : word;
}

bool isWord(const std::string& token) {
    static const std::set<std::string> keywords = {"if",   "for",   "while", "return",  "function",
                                                   "and",  "or",    "not",   "else",    "in",
                                                   "true", "false", "nil",   "tostring"};
    return (isNamePart(token[0]) || token[0] == '.') && token != ".." && !keywords.count(token);
}

// Operators of one character or two; the longer ones first.
const char* const kOperators[] = {"..", "->", "=>", "==", "~=", "!=", "<=", ">=", "+",
                                  "-",  "*",  "/",  "%",  "^",  "#",  "<",  ">",  "@"};

std::size_t addOperator(const std::string& line, std::size_t at, Tokens& tokens) {
    for (const char* spelling : kOperators) {
        const std::string found = spelling;
        if (line.compare(at, found.size(), found) != 0)
            continue;
        if (found == "->" || found == "=>")
            tokens.push_back("function");
        else if (found == "@")
            tokens.push_back("self");
        else if (found == "#" && at + 1 < line.size() && line[at + 1] == '{')
            tokens.push_back(".."); // a part of a text that is put together
        else
            tokens.push_back(found == "!=" ? "~=" : found);
        return at + found.size();
    }
    return at + 1;
}

// Names, numbers and operators of a line in Lua or MoonScript, a word of a text like any other. A comment
// ends it.
Tokens tokensOf(const std::string& line) {
    Tokens tokens;
    std::size_t at = 0;
    while (at < line.size() && line.compare(at, 2, "--") != 0) {
        if (!isNamePart(line[at])) {
            at = addOperator(line, at, tokens);
            continue;
        }
        std::size_t end = at;
        while (end < line.size() && isNamePart(line[end]))
            ++end;
        const std::string word = commonWord(line.substr(at, end - at));
        if (!word.empty())
            tokens.push_back(word);
        at = end;
    }
    return tokens;
}

bool contains(const Tokens& tokens, const std::string& token) {
    return std::find(tokens.begin(), tokens.end(), token) != tokens.end();
}

// How much a source line has in common with a compiled one.
double likeness(const Tokens& source, const Tokens& wanted, const ErrorHint& hint) {
    double score = 0;
    for (const std::string& token : std::set<std::string>(wanted.begin(), wanted.end()))
        if (contains(source, token))
            score += isWord(token) ? 1.0 : kOperator;
    for (const std::string& token : std::set<std::string>(source.begin(), source.end()))
        if (isWord(token) && !contains(wanted, token))
            score -= kForeign;
    for (const std::string& name : hint.names)
        if (contains(source, name))
            score += kNamed;
    return score;
}

// ---- Calls that Lua forgets

std::size_t indentationOf(const std::string& line) {
    return std::min(line.find_first_not_of(" \t"), line.size());
}

// Whether a line of Lua returns what a function of this name returns.
bool returnsCallOf(const std::string& line, const std::string& name) {
    std::size_t at = line.find("return ");
    const std::size_t open = at == std::string::npos ? at : line.find('(', at);
    if (open == std::string::npos || open < name.size())
        return false;
    at = open - name.size();
    return line.compare(at, name.size(), name) == 0 && !isNamePart(line[at - 1]);
}

// The line where the function around a line begins; "" without one.
std::string headOfFunctionAround(const std::vector<std::string>& code, int line) {
    std::size_t indentation = indentationOf(code[static_cast<std::size_t>(line - 1)]);
    for (int above = line - 1; above >= 1 && indentation > 0; --above) {
        const std::string& text = code[static_cast<std::size_t>(above - 1)];
        if (text.empty() || indentationOf(text) >= indentation)
            continue;
        indentation = indentationOf(text);
        if (text.find("function") != std::string::npos)
            return text;
    }
    return "";
}

// What stands before "function" there: the names that the function may be called by.
Tokens namesOfFunctionAround(const std::vector<std::string>& code, int line) {
    Tokens names = tokensOf(headOfFunctionAround(code, line));
    names.erase(std::remove(names.begin(), names.end(), "function"), names.end());
    return names;
}

// The last part of the name in "function a.name(" or "name = function("; "" without one.
std::string nameInHead(const std::string& head) {
    const std::string word = "function";
    const std::size_t at = head.find(word);
    if (at == std::string::npos)
        return "";
    const std::size_t after = at + word.size();
    Tokens names = tokensOf(head.substr(after, head.find('(', after) - after));
    if (names.empty())
        names = tokensOf(head.substr(0, at));
    return names.empty() ? "" : names.back();
}

// Whether a line calls that function without arguments, beside declaring it.
bool callsPlainly(const std::string& line, const std::string& name) {
    const std::string call = name + "()";
    for (std::size_t at = line.find(call); at != std::string::npos; at = line.find(call, at + 1)) {
        const std::size_t word = line.rfind("function ", at);
        const bool declared =
            word != std::string::npos && line.find_first_of("( ", word + 9) == at + name.size();
        if (!declared && (at == 0 || !isNamePart(line[at - 1])))
            return true;
    }
    return false;
}

bool share(const Tokens& a, const Tokens& b) {
    return std::any_of(a.begin(), a.end(), [&b](const std::string& token) {
        return isWord(token) && token != "self" && contains(b, token);
    });
}

// How well a line that calls a builtin goes with the message and with the call that Lua remembers.
double tailScore(const Tokens& line, const Tokens& around, const Tokens& message, const Tokens& caller) {
    double score = share(around, caller) ? kNamed : 0;
    for (const std::string& word : std::set<std::string>(message.begin(), message.end()))
        if (isWord(word) && contains(line, word))
            score += 1;
    return score;
}

struct StateCloser {
    void operator()(lua_State* L) const { lua_close(L); }
};

// ---- Hints

bool takeQuoted(const std::string& message, const char* kind, ErrorHint& hint) {
    const std::string opening = std::string(kind) + " '";
    const std::size_t start = message.find(opening);
    if (start == std::string::npos)
        return false;
    const std::size_t from = start + opening.size();
    const std::string name = message.substr(from, message.find('\'', from) - from);
    if (name.empty() || name == "?")
        return false;
    hint.kind = kind;
    hint.names.push_back(name);
    return true;
}

// What the messages of Lua say about the operation that failed.
const char* operatorsOf(const std::string& message) {
    const struct {
        const char* text;
        const char* operators;
    } known[] = {{"attempt to compare", "<>"},
                 {"attempt to concatenate", ".#"},
                 {"perform arithmetic", "+-*/%^"},
                 {"attempt to get length", "#*"},
                 {"attempt to call", "(!"}};
    for (const auto& entry : known)
        if (message.find(entry.text) != std::string::npos)
            return entry.operators;
    return "";
}

// Whether what stands before a name goes with its kind.
bool suitsKind(const std::string& line, std::size_t at, const std::string& kind) {
    const char before = at > 0 ? line[at - 1] : ' ';
    const bool member = before == '.' || before == '\\' || before == ':' || before == '@';
    return member == (kind == "field" || kind == "method");
}

std::size_t findWord(const std::string& line, const std::string& word, const std::string& kind) {
    std::size_t fallback = std::string::npos;
    for (std::size_t at = line.find(word); at != std::string::npos; at = line.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at > 0 && isNamePart(line[at - 1])) || (end < line.size() && isNamePart(line[end])))
            continue;
        if (suitsKind(line, at, kind))
            return at;
        fallback = std::min(fallback, at);
    }
    return fallback;
}

std::size_t findOperator(const std::string& line, const std::string& operators, std::size_t indentation) {
    std::size_t at = indentation;
    while ((at = line.find_first_of(operators, at)) != std::string::npos) {
        if (line.compare(at, 2, "--") == 0)
            break;
        const bool arrow = line.compare(at, 2, "->") == 0 || (at > 0 && line.compare(at - 1, 2, "=>") == 0);
        const bool member = line[at] == '.' && line.compare(at, 2, "..") != 0;
        if (!arrow && !member)
            return at;
        at += 2;
    }
    return indentation;
}

} // namespace

ErrorHint ReadHint(const std::string& message) {
    ErrorHint hint;
    for (const char* kind : {"field", "method", "local", "global", "upvalue", "near", "argument #1 to", "to"})
        if (takeQuoted(message, kind, hint))
            break;
    hint.operators = operatorsOf(message);
    return hint;
}

std::size_t FindColumn(const std::string& line, const ErrorHint& hint) {
    for (const std::string& name : hint.names) {
        const bool self = name == "self" && line.find("self") == std::string::npos;
        const std::size_t at = self ? line.find('@') : findWord(line, name, hint.kind);
        if (at != std::string::npos)
            return at;
    }
    const std::size_t indentation = std::min(line.find_first_not_of(" \t"), line.size());
    return hint.operators.empty() ? indentation : findOperator(line, hint.operators, indentation);
}

// ---- Reading

SourceLines::SourceLines(const std::string& path) {
    DataBlock data;
    if (!data.ReadFile(path.c_str()))
        return;
    const std::string text(data.CStr(), static_cast<std::size_t>(data.Len()));
    lines = splitLines(text);
    if (endsWith(path, ".moon"))
        privCompile(text);
}

SourceLines SourceLines::OfText(const std::string& text) {
    SourceLines source;
    source.lines = splitLines(text);
    return source;
}

// In a Lua state of its own: the script's may be full, or its compiler replaced.
void SourceLines::privCompile(const std::string& text) {
    const std::unique_ptr<lua_State, StateCloser> state(luaL_newstate());
    lua_State* L = state.get();
    if (!L)
        return;
    luaL_openlibs(L);
    if (luaopen_moonscript(L) != 1 || luaL_loadstring(L, "return require('moonscript').to_lua(...)") != 0)
        return;
    lua_pushlstring(L, text.data(), text.size());
    if (lua_pcall(L, 1, 2, 0) != 0 || !lua_isstring(L, -2) || !lua_istable(L, -1))
        return;
    compiled = splitLines(lua_tostring(L, -2));
    origins.assign(compiled.size() + 1, 0);
    for (std::size_t line = 1; line < origins.size(); ++line) {
        lua_rawgeti(L, -1, static_cast<int>(line));
        const auto position = static_cast<std::size_t>(lua_tointeger(L, -1));
        lua_pop(L, 1);
        if (position == 0)
            continue;
        // A position may lie in the blank lines before its statement.
        const std::size_t visible = std::min(text.find_first_not_of(" \t\r\n", position - 1), text.size());
        origins[line] =
            1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<long>(visible), '\n'));
    }
}

const std::string& SourceLines::Line(int line) const {
    static const std::string none;
    return line >= 1 && line <= Count() ? lines[static_cast<std::size_t>(line - 1)] : none;
}

// ---- Finding

int SourceLines::Find(const CompiledSpan& span, const ErrorHint& hint) const {
    const int found = compiled.empty() ? privFindInLua(span, hint) : privFindInMoon(span.line, hint);
    return std::clamp(found, 1, std::max(1, Count()));
}

// Lua's own line is right but for statements of several lines.
int SourceLines::privFindInLua(const CompiledSpan& span, const ErrorHint& hint) const {
    if (hint.names.empty())
        return span.line;
    for (int distance = 0; distance <= kLuaReach; ++distance)
        for (const int line : {span.line + distance, span.line - distance})
            if (line >= span.first && line <= span.last && contains(tokensOf(Line(line)), hint.names[0]))
                return line;
    return span.line;
}

// The tokens of a compiled line; those of the line that set a made-up name stand for that name.
std::vector<std::string> SourceLines::privCompiledTokens(int compiledLine) const {
    Tokens tokens;
    for (const std::string& token : tokensOf(compiled[static_cast<std::size_t>(compiledLine - 1)])) {
        if (!IsMadeUp(token)) {
            tokens.push_back(token);
            continue;
        }
        for (const std::string& meant : tokensOf(privDefinition(token, compiledLine)))
            if (!IsMadeUp(meant))
                tokens.push_back(meant);
    }
    return tokens;
}

// Authors may have such names, too.
bool SourceLines::IsMadeUp(const std::string& name) const {
    const bool looksSo = name.size() > 3 && name[0] == '_' &&
                         std::isdigit(static_cast<unsigned char>(name.back())) &&
                         name.find('_', 1) != std::string::npos;
    return looksSo && IsCompiled() && std::none_of(lines.begin(), lines.end(), [&](const std::string& line) {
               return line.find(name) != std::string::npos;
           });
}

std::string SourceLines::privDefinition(const std::string& madeUp, int compiledLine) const {
    const std::string definition = "local " + madeUp + " = ";
    for (int line = compiledLine - 1; line >= std::max(1, compiledLine - kMost); --line) {
        const std::string& text = Code(line);
        const std::size_t at = text.find(definition);
        if (at != std::string::npos)
            return text.substr(at + definition.size());
    }
    return "";
}

std::string SourceLines::MeaningOf(const std::string& madeUp, int compiledLine) const {
    const std::string meaning = privDefinition(madeUp, compiledLine);
    const Tokens names = tokensOf(meaning);
    const bool isPath =
        !meaning.empty() && isNameStart(meaning[0]) &&
        std::all_of(meaning.begin(), meaning.end(), [](char c) { return isNamePart(c) || c == '.'; });
    const bool isConstant = meaning == "nil" || meaning == "true" || meaning == "false";
    const auto isMadeUp = [this](const std::string& name) { return IsMadeUp(name); };
    if (!isPath || isConstant || std::any_of(names.begin(), names.end(), isMadeUp))
        return "";
    const std::string self = "self.";
    return meaning.compare(0, self.size(), self) == 0 ? "@" + meaning.substr(self.size()) : meaning;
}

const std::string& SourceLines::Code(int line) const {
    static const std::string none;
    const std::vector<std::string>& code = privCode();
    return line >= 1 && line <= static_cast<int>(code.size()) ? code[static_cast<std::size_t>(line - 1)]
                                                              : none;
}

int SourceLines::FindRecursion() const {
    const std::vector<std::string>& code = privCode();
    std::string function;
    int found = 0;
    for (int line = 1; line <= static_cast<int>(code.size()); ++line) {
        const std::string& text = Code(line);
        for (const std::string& name : {nameInHead(text), nameInHead(headOfFunctionAround(code, line))}) {
            if (name.empty() || name == function || !callsPlainly(text, name))
                continue;
            if (found != 0)
                return 0;
            function = name;
            found = line;
        }
    }
    return found == 0 ? 0 : Find({found}, {});
}

int SourceLines::FindTailCall(const std::string& builtin, const std::string& message,
                              const std::string& caller) const {
    const std::vector<std::string>& code = privCode();
    const Tokens callerTokens = tokensOf(caller);
    if (builtin.empty() || contains(callerTokens, builtin))
        return 0;
    Tokens messageTokens = tokensOf(message);
    messageTokens.erase(std::remove(messageTokens.begin(), messageTokens.end(), builtin),
                        messageTokens.end());
    const bool isText = message.compare(0, std::strlen(kNoText), kNoText) != 0;
    int found = 0;
    double best = -1e9;
    bool unique = false;
    for (int line = 1; line <= static_cast<int>(code.size()); ++line) {
        const std::string& text = code[static_cast<std::size_t>(line - 1)];
        if (!returnsCallOf(text, builtin))
            continue;
        double score =
            tailScore(tokensOf(text), namesOfFunctionAround(code, line), messageTokens, callerTokens);
        if (!isText && text.find(builtin + "(\"") != std::string::npos)
            score -= 1;
        if (score == best)
            unique = false;
        if (score <= best)
            continue;
        best = score;
        found = line;
        unique = true;
    }
    return unique ? Find({found}, {}) : 0;
}

int SourceLines::privFindInMoon(int compiledLine, const ErrorHint& hint) const {
    const int size = static_cast<int>(compiled.size());
    compiledLine = std::clamp(compiledLine, 1, size);
    int before = compiledLine;
    while (before > 1 && origins[static_cast<std::size_t>(before)] == 0)
        --before;
    const int origin = std::max(1, origins[static_cast<std::size_t>(before)]);
    int after = compiledLine + 1;
    while (after <= size && origins[static_cast<std::size_t>(after)] <= origin)
        ++after;
    const int next = after <= size ? origins[static_cast<std::size_t>(after)] : Count();
    const Tokens wanted = privCompiledTokens(compiledLine);
    int best = origin;
    double bestScore = -1e9;
    for (int line = std::max(1, origin - kBefore);
         line <= std::min({Count(), std::max(next, origin + kAfter), origin + kMost}); ++line) {
        const Tokens source = tokensOf(Line(line));
        if (source.empty() && line != origin)
            continue;
        double score = likeness(source, wanted, hint) - kFurther * std::abs(line - origin);
        if (line < origin || (next > origin && line >= next))
            score -= before == compiledLine ? kOutsideExact : kOutside;
        if (line == origin)
            score += before == compiledLine ? kExact : kExact / 2;
        if (score > bestScore) {
            bestScore = score;
            best = line;
        }
    }
    return best;
}
