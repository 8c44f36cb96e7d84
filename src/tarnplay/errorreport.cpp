// Making error reports and printing them.
#include "errorreport.h"

#include "errorstack.h"
#include "lua_api.h"
#include "player.h"
#include "sourcelines.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
constexpr char kNoFunction[] = "attempt to call a nil value";
constexpr char kStackOverflow[] = "stack overflow"; // without a position
constexpr int kAround = 2;                          // lines of excerpt before and after the place
constexpr int kTabWidth = 4;
constexpr int kWidth = 120;      // characters of an excerpt's line
constexpr int kBeforeCaret = 60; // of these, where a line is cut
// A missing module's message lists 30 places.
constexpr int kMessageLines = 200;
constexpr int kMessageWidth = 400;                      // characters
constexpr std::size_t kMostMessage = 4 * kMessageWidth; // bytes
constexpr std::size_t kCallSites = 6;

// Where an error is, in the terms of Lua's messages.
struct Place {
    std::string file; // or
    std::string text; // the source itself
    std::string name; // of the text
    CompiledSpan span{0};
};

bool endsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool isScript(const std::string& path) {
    return endsWith(path, ".lua") || endsWith(path, ".moon");
}

// ---- Reading messages

// A position before a message: "NAME:LINE: " or "[string "NAME"]:LINE: ".
struct Position {
    std::string shortName;
    std::string path;
    int line;
};

std::string withoutBrackets(const std::string& shortName) {
    const std::string opening = "[string \"";
    if (shortName.compare(0, opening.size(), opening) != 0 || !endsWith(shortName, "\"]"))
        return shortName;
    return shortName.substr(opening.size(), shortName.size() - opening.size() - 2);
}

// Takes a position off the message's beginning.
std::optional<Position> takePosition(std::string& message) {
    const std::size_t lineEnd = message.find('\n');
    for (std::size_t colon = message.find(':'); colon < lineEnd; colon = message.find(':', colon + 1)) {
        std::size_t end = colon + 1;
        while (end < message.size() && std::isdigit(static_cast<unsigned char>(message[end])))
            ++end;
        if (end == colon + 1 || end > colon + 9 || message.compare(end, 1, ":") != 0)
            continue;
        const std::string name = message.substr(0, colon);
        if (name[0] != '[' && name.find(": ") != std::string::npos)
            break; // words before a position
        const Position position = {name, PlainPath(withoutBrackets(name)),
                                   std::atoi(message.c_str() + colon + 1)};
        message.erase(0, std::min(message.size(), message.find_first_not_of(' ', end + 1)));
        return position;
    }
    return std::nullopt;
}

// "error loading module 'name' from file 'path':\n\tproblem" is about the problem.
std::string takeLoadedFile(std::string& message) {
    const std::string before = "from file '", after = "':\n\t";
    const std::size_t start = message.find(before);
    const std::size_t end = start == std::string::npos ? start : message.find(after, start);
    if (end == std::string::npos)
        return "";
    const std::size_t from = start + before.size();
    const std::string file = PlainPath(message.substr(from, end - from));
    message.erase(0, end + after.size());
    return file;
}

// The compiler's messages end with "\n [LINE] >>    code".
int takeMoonLine(std::string& message) {
    const std::size_t arrow = message.find("] >>");
    const std::size_t open = arrow == std::string::npos ? arrow : message.rfind('[', arrow);
    if (open == std::string::npos)
        return 0;
    const int line = std::atoi(message.c_str() + open + 1);
    message.erase(std::min(message.size(), message.find_last_not_of(" \n\t:", open - 1) + 1));
    return line;
}

// ---- Rewording

// "module 'name' not found:" is followed by all places, the system's before the game's.
void putOwnPlacesFirst(std::string& message) {
    const std::size_t head = message.find('\n');
    if (message.compare(0, 8, "module '") != 0 || head == std::string::npos)
        return;
    std::vector<std::string> places;
    for (std::size_t start = head; start != std::string::npos; start = message.find('\n', start + 1))
        places.push_back(message.substr(start, message.find('\n', start + 1) - start));
    std::stable_partition(places.begin(), places.end(), [](const std::string& place) {
        return place.find("'./scripts/") != std::string::npos;
    });
    message.erase(head);
    for (const std::string& place : places)
        message += place;
}

// Puts what the author wrote in place of a name that the compiler has made, as "local '_with_0' (a nil
// value)".
// @return that; empty when nothing was found, or more than a name is meant
std::string rewordMadeUpName(const SourceLines& source, int compiledLine, std::string& message) {
    for (std::size_t quote = message.find(" '_"); quote != std::string::npos;
         quote = message.find(" '_", quote + 1)) {
        const std::size_t end = message.find("' (a ", quote + 2);
        const std::size_t close = message.find(')', end);
        const std::size_t kind = quote == 0 ? std::string::npos : message.rfind(' ', quote - 1);
        if (close == std::string::npos || kind == std::string::npos)
            return "";
        const std::string name = message.substr(quote + 2, end - quote - 2);
        if (!source.IsMadeUp(name))
            continue;
        const std::string meant = source.MeaningOf(name, compiledLine);
        if (meant.empty())
            message.replace(kind + 1, close - kind, message.substr(end + 3, close - end - 3));
        else
            message.replace(kind + 1, end - kind, "'" + meant + "'");
        return meant;
    }
    return "";
}

// "'end' expected (to close 'if' at line 507)" counts the lines of the compiled Lua.
void rewordLine(const SourceLines& source, std::string& message) {
    const std::string before = "' at line ";
    const std::size_t closing = message.find("' expected (to close '");
    const std::size_t at = closing == std::string::npos ? closing : message.find(before, closing);
    if (at == std::string::npos)
        return;
    const std::size_t digits = at + before.size();
    const int line = source.Find({std::atoi(message.c_str() + digits)}, {});
    message.replace(digits, message.find_first_not_of("0123456789", digits) - digits, std::to_string(line));
}

// ---- Sources

// Sources that a report has read already.
class Sources {
public:
    const SourceLines& Of(const std::string& file, const std::string& text) {
        const auto known = read.find(file + '\n' + text);
        if (known != read.end())
            return known->second;
        const SourceLines source = file.empty() ? SourceLines::OfText(text) : SourceLines(file);
        return read.emplace(file + '\n' + text, source).first->second;
    }

private:
    std::map<std::string, SourceLines> read;
};

// ---- Excerpts

// UTF-8 that any terminal shows: tabs become blanks, other control characters and stray bytes question marks.
std::string printable(const std::string& text) {
    std::string result;
    int column = 0;
    for (std::size_t i = 0; i < text.size(); ++column) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const std::size_t length = byte < 0x80 ? 1 : byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : 2;
        bool valid = byte < 0x80 || (byte >= 0xc2 && byte < 0xf5 && i + length <= text.size());
        for (std::size_t k = 1; valid && k < length; ++k)
            valid = (static_cast<unsigned char>(text[i + k]) & 0xc0) == 0x80;
        if (byte == '\t')
            for (int stop = kTabWidth - column % kTabWidth; stop > 1; --stop, ++column)
                result += ' ';
        if (byte == '\t')
            result += ' ';
        else
            result += !valid || byte < ' ' || byte == 0x7f ? "?" : text.substr(i, length);
        i += valid ? length : 1;
    }
    return result;
}

bool startsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
}

int characters(const std::string& text) {
    return static_cast<int>(std::count_if(text.begin(), text.end(), startsCharacter));
}

// The characters from first on, at most width, with dots where something is cut off.
std::string clipped(const std::string& text, int first, int width) {
    std::string result;
    int column = -1;
    for (const char byte : text) {
        column += startsCharacter(byte) ? 1 : 0;
        if (column >= first && column < first + width)
            result += byte;
    }
    if (column >= first + width)
        result += "...";
    return result;
}

void addExcerpt(const SourceLines& source, const ErrorHint& hint, ErrorReport& report) {
    AddExcerpt(source, FindColumn(source.Line(report.line), hint), report);
}

// ---- Making a report

Place placeOf(const StackFrame& frame) {
    return {frame.file, frame.text, frame.shortName, {frame.line, frame.first, frame.last}};
}

bool sameSpot(const Place& place, const StackFrame& frame) {
    return place.span.line == frame.line && place.file == frame.file && place.text == frame.text;
}

const StackFrame* frameAt(const ErrorStack& stack, const Position& position) {
    for (const StackFrame& frame : stack.frames)
        if (frame.line == position.line && frame.shortName == position.shortName)
            return &frame;
    return nullptr;
}

// Takes the positions before the message. The last one that is in a script is where the error was raised;
// those before it come from passing the error on.
std::optional<Place> takePlace(std::string& message, const ErrorStack& stack) {
    std::optional<Place> place;
    for (std::string rest = message; const auto position = takePosition(rest);) {
        const StackFrame* frame = frameAt(stack, *position);
        if (frame)
            place = placeOf(*frame);
        else if (isScript(position->path))
            place = Place{position->path, "", "", {position->line}};
        else if (position->path != "moonscript.lua")
            break;
        message = rest;
    }
    return place;
}

// Errors while loading: Lua's have a position, the MoonScript compiler's a line.
std::optional<Place> takeCompilerPlace(std::string& message, const ErrorStack& stack,
                                       const std::string& script) {
    const std::string module = takeLoadedFile(message);
    const bool moon =
        message.find("] >>") != std::string::npos && (message.find("Failed to parse") != std::string::npos ||
                                                      message.find("Compile error") != std::string::npos);
    if (!moon)
        return module.empty() ? std::nullopt : takePlace(message, stack);
    const std::string file = !module.empty() ? module : !stack.compiling.empty() ? stack.compiling : script;
    while (takePosition(message)) {
    }
    const int line = takeMoonLine(message);
    return Place{file, "", "", {-line}};
}

std::string describe(const std::string& function, ScriptStage stage) {
    if (!function.empty())
        return function;
    const char* const callbacks[] = {"main chunk", "function 'Init'", "function 'Draw'",
                                     "function 'KeyHappen'"};
    return callbacks[static_cast<int>(stage)];
}

// Resolves the calls but the one that is the place itself.
void addCallSites(const ErrorStack& stack, const std::optional<Place>& place, Sources& sources,
                  ErrorReport& report) {
    bool placeSeen = false;
    for (std::size_t i = 0; i < stack.frames.size() && report.callSites.size() < kCallSites; ++i) {
        const StackFrame& frame = stack.frames[i];
        if (place && !placeSeen && sameSpot(*place, frame)) {
            placeSeen = true;
            continue;
        }
        const bool outermost = i + 1 == stack.frames.size();
        const int line = sources.Of(frame.file, frame.text).Find(placeOf(frame).span, {});
        const std::string name = frame.file.empty() ? frame.shortName : frame.file;
        const std::string function = frame.function.empty() && !outermost ? "a function" : frame.function;
        report.callSites.push_back({name, line, describe(function, report.stage)});
    }
}

// No script function was under way: the callback does not exist, or it ended with the call of a library
// function.
void completeWithoutPlace(const ErrorStack& stack, const std::string& script, Sources& sources,
                          ErrorReport& report) {
    const char* const wanted[] = {nullptr, "Init", "Draw", "KeyHappen"};
    const char* const callback = wanted[static_cast<int>(report.stage)];
    if (callback && report.message == kNoFunction)
        report.message = std::string("the script has no function ") + callback;
    report.file = script;
    report.line = 1;
    const SourceLines& source = sources.Of(script, "");
    const bool full = report.message == kStackOverflow;
    const int line = full ? source.FindRecursion()
                          : source.FindTailCall(stack.builtin, report.message, callback ? callback : "");
    if (full && line == 0)
        report.message += ": a function calls itself without end (no room was left to tell where)";
    if (line == 0)
        return;
    report.line = line;
    addExcerpt(source, full ? ErrorHint() : ErrorHint{{stack.builtin}, "", ""}, report);
}

// What the message tells of the spot, after it has been put in the author's terms.
ErrorHint readHint(const SourceLines& source, int compiledLine, std::string& message) {
    if (!source.IsCompiled())
        return ReadHint(message);
    rewordLine(source, message);
    const std::string meant = rewordMadeUpName(source, compiledLine, message);
    ErrorHint hint = ReadHint(message);
    if (meant.empty())
        return hint;
    const std::size_t last = meant.find_last_of(".@");
    hint.names = {meant.substr(last == std::string::npos ? 0 : last + 1)};
    hint.kind = last == std::string::npos ? "local" : "field";
    return hint;
}

ErrorReport makeReport(const ErrorStack& stack, ScriptStage stage, const std::string& script) {
    ErrorReport report = {stage, "", 0, stack.message, {}, 0, {}};
    std::optional<Place> place = takeCompilerPlace(report.message, stack, script);
    if (!place)
        place = takePlace(report.message, stack);
    if (!place && !stack.frames.empty())
        place = placeOf(stack.frames.front());
    putOwnPlacesFirst(report.message);
    Sources sources;
    addCallSites(stack, place, sources, report);
    if (!place) {
        completeWithoutPlace(stack, script, sources, report);
        return report;
    }
    const SourceLines& source = sources.Of(place->file, place->text);
    ErrorHint hint = readHint(source, place->span.line, report.message);
    const bool innermost = !stack.frames.empty() && sameSpot(*place, stack.frames.front());
    if (innermost && hint.names.empty() && !stack.builtin.empty())
        hint.names.push_back(stack.builtin);
    const int tail =
        innermost ? source.FindTailCall(stack.builtin, report.message, source.Code(place->span.line)) : 0;
    report.file = place->file.empty() ? place->name : place->file;
    const bool known = place->span.line < 0; // the compiler itself names the source's line
    if (known && source.Line(1).compare(0, sizeof kByteOrderMark - 1, kByteOrderMark) == 0)
        report.message += ": the file begins with a byte order mark, which MoonScript cannot read";
    report.line = known  ? std::clamp(-place->span.line, 1, std::max(1, source.Count()))
                  : tail ? tail
                         : source.Find(place->span, hint);
    if (tail)
        report.callSites.insert(report.callSites.begin(),
                                {report.file, source.Find(place->span, {}), "its caller"});
    if (!source.Empty())
        addExcerpt(source, hint, report);
    return report;
}

std::string indented(int number, int width) {
    std::string text = number > 0 ? std::to_string(number) : "";
    return std::string(static_cast<std::size_t>(width) - text.size(), ' ') + text + " | ";
}

// A message's lines, the later ones indented; of a very long one only the beginning.
std::string indentedLines(const std::string& message) {
    std::string text;
    std::size_t start = 0;
    for (int line = 0; line < kMessageLines && (start < message.size() || line == 0); ++line) {
        const std::size_t end = std::min(message.find('\n', start), message.size());
        text +=
            (line > 0 ? "    " : "") +
            clipped(printable(message.substr(start, std::min(end - start, kMostMessage))), 0, kMessageWidth) +
            "\n";
        start = end + 1;
    }
    return start < message.size() ? text + "    ...\n" : text;
}

std::filesystem::path currentDirectory() {
    std::error_code error;
    return std::filesystem::current_path(error);
}

const std::filesystem::path startDirectory = currentDirectory();

// The path that leads to a file of the game, in whose root the process runs, from where it was started.
std::string fromStart(const std::string& name) {
    const std::filesystem::path path = (currentDirectory() / name).lexically_normal();
    const std::string relative = path.lexically_relative(startDirectory).generic_string();
    return relative.empty() ? name : relative;
}

// ---- The feature

std::optional<ErrorReport> latest;
std::string latestKey; // message and innermost call as Lua has them

std::string keyOf(const ErrorStack& stack) {
    std::string key = stack.message;
    if (!stack.frames.empty())
        key += '\n' + stack.frames.front().shortName + std::to_string(stack.frames.front().line);
    return key;
}

class ErrorReports : public Feature {
public:
    void FrameBegins(Player&) override { print(); }
    void DrawBegins(Player&) override { print(); }
    void DrawEnded(Player&) override { print(); }
    void Ended(Player&) override { print(); }
    void ScriptError(Player& player, lua_State* L, ScriptStage stage) override {
        const ErrorStack stack = ReadErrorStack(L);
        if (stack.frames.empty() && !waiting.empty())
            return; // what follows from the error before, as an Init that is missing after a failed load
        const std::string key = keyOf(stack);
        if (latest && key == latestKey)
            return;
        latestKey = key;
        latest = makeReport(stack, stage, std::string("scripts/") + player.scriptName.CStr());
        const std::string text = latest->Text();
        waiting += text;
        if (!player.survives)
            player.Report(STATUS_SCRIPT_ERROR, text.substr(0, text.size() - 1));
    }

private:
    // Standard output first: both may go to one terminal.
    void print() {
        if (waiting.empty())
            return;
        fflush(stdout);
        fputs(waiting.c_str(), stderr);
        waiting.clear();
    }

    std::string waiting;
};

} // namespace

std::string ErrorReport::Text() const {
    const auto position = [](const std::string& name, int number) {
        const bool isText = name.compare(0, 1, "[") == 0; // a chunk that came from no file
        return (isText ? name : fromStart(name)) + ":" + std::to_string(number) + ": ";
    };
    std::string text = position(file, line) + indentedLines(message);
    const int width = static_cast<int>(std::to_string(line + kAround).size()) + 2;
    for (const ExcerptLine& shown : excerpt) {
        text += indented(shown.number, width) + shown.text + "\n";
        if (shown.number == line)
            text += indented(0, width) + std::string(static_cast<std::size_t>(caretColumn), ' ') + "^\n";
    }
    for (const CallSite& site : callSites)
        text += position(site.file, site.line) + "in " + site.function + "\n";
    return text;
}

void AddExcerpt(const SourceLines& source, std::size_t spot, ErrorReport& report) {
    const int column = characters(printable(source.Line(report.line).substr(0, spot)));
    const int first = column < kWidth ? 0 : column - kBeforeCaret;
    report.caretColumn = column - first;
    const int last = std::min(source.Count(), std::max(report.line + kAround, 2 * kAround + 1));
    for (int line = std::max(1, std::min(report.line - kAround, last - 2 * kAround)); line <= last; ++line) {
        // A huge line is cut before its characters are looked at one by one.
        const std::size_t most = static_cast<std::size_t>(line == report.line ? spot : 0) + 4 * kWidth;
        const std::string text = printable(source.Line(line).substr(0, most));
        report.excerpt.push_back({line, clipped(text, line == report.line ? first : 0, kWidth)});
    }
}

ErrorReport MakeErrorReport(lua_State* L, ScriptStage stage, const std::string& script) {
    return makeReport(ReadErrorStack(L), stage, script);
}

const ErrorReport* LastErrorReport() {
    return latest ? &*latest : nullptr;
}

void ForgetErrorReports() {
    latest.reset();
    latestKey.clear();
}

std::unique_ptr<Feature> MakeErrorReports() {
    return std::make_unique<ErrorReports>();
}
