// The macro translator: one scanner per text, includes being texts of their own. A scanner owns a copy of its
// text and appends to the output block that it is given.
#include "macroProcessor.h"

#include "datablock.h"
#include "strfuncs.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

const int maxIncludeDepth = 32;
const int maxTotalBytes = 64 * 1024 * 1024;

/// What a translation and all its includes share, so that files which include each other come to an end.
struct Limits {
    int includeDepth = 0;
    int bytesLeft = maxTotalBytes;
    bool includesStopped = false; // the depth was reached: the files go in circles

    bool Spent() const { return bytesLeft <= 0; }
    /// Takes bytes off what is left; the request that finds too little ends the translation.
    bool Take(int bytes) {
        if (bytes < bytesLeft) {
            bytesLeft -= bytes;
            return true;
        }
        if (!Spent())
            printf("ERR: macro translation stopped at %i bytes\n", maxTotalBytes);
        bytesLeft = 0;
        return false;
    }
};

/// Walks over a text once. Each step handles the character at pos: the rules run in their order, every one of
/// them tests what the text holds at start, and what no rule has replaced is copied.
class MacroScanner {
public:
    MacroScanner(DataBlock* input, DataBlock* target, bool scopes, Limits& shared)
        : text(input->CStr()), length(static_cast<int>(text.size())), output(target), limits(shared),
          outputScopes(scopes) {}
    void Run(bool appendNull);

private:
    const std::string text;
    const int length;
    DataBlock* const output;
    Limits& limits;

    int pos = 0;
    int start = 0;        // where the rules of this step test their prefixes; stays when a rule moves pos
    bool advance = false; // whether the next step moves on first; off: pos is already on the next character
    bool processing = true;
    bool outputParsed = false, outputScopes;
    bool namesEnded = false; // no quoted name stands in the rest of the text
    bool inBlockComment = false, inString = false;
    char quoteChar = '\0';
    bool pendingThen = false, pendingDo = false, pendingParen = false; // what the line still lacks at its end
    int depth = 0;                                                     // blocks opened and not yet closed
    int indent = 0;                                                    // tabs before the current line
    std::string className;

    // Reading
    char at(int i) const { return i < length ? text[i] : '\0'; }
    bool begins(const char* prefix) const;
    bool atLineStart() const { return WhiteSpaceBefore(text.c_str(), pos); }
    int find(const char* set, int from) const;
    int skipBlanks(int from) const;

    // Writing
    void emit(const char* s, int n);
    void emit(const std::string& s) { emit(s.data(), static_cast<int>(s.size())); }
    void emit(char c) { emit(&c, 1); }
    void moveTo(int next) { pos = std::min(next, length); }
    void replace(const char* by, int characters);

    // One step
    void step();
    void directives();
    void comments();
    void applyRules();
    void copyCharacter();

    // The rules, in their order
    void zeroIndex() const;
    void trackQuotes();
    void operators();
    void include();
    void barePrint();
    void semicolon();
    void local();
    void compoundAssignment();
    void ifHeader();
    void classHeader();
    void def();
    void blockWords();
    void forHeader();
    void closePrint();
    void lineEnd();

    void includeFile(const std::string& name);
    int copyBaseName(int from);
    void closeHeader(bool& pending, const char* word);
    void closeBlocks(int tabs, const char* nextLine);
    char scopeDigit() const;
};

// ---- Reading and writing

bool MacroScanner::begins(const char* prefix) const {
    return at(start) == prefix[0] && strBeginsWith(text.c_str() + start, prefix, true);
}

/// Index of the first character of set from there on, or of the text's end.
int MacroScanner::find(const char* set, int from) const {
    const size_t found = text.find_first_of(set, static_cast<size_t>(from));
    return found == std::string::npos ? length : static_cast<int>(found);
}

int MacroScanner::skipBlanks(int from) const {
    while (at(from) == ' ' || at(from) == '\t')
        ++from;
    return from;
}

void MacroScanner::emit(const char* s, int n) {
    if (limits.Take(n))
        output->Append(s, n);
}

/// Writes text in place of the next characters, which counts as having handled them.
void MacroScanner::replace(const char* by, int characters) {
    emit(by);
    moveTo(pos + characters);
    advance = false;
}

// ---- Steps

void MacroScanner::Run(bool appendNull) {
    while (pos < length && !limits.Spent())
        step();
    if (appendNull)
        output->AppendNull();
    if (outputParsed)
        output->WriteFile("processed.lua");
}

void MacroScanner::step() {
    if (advance)
        ++pos;
    else
        advance = true;
    start = pos;
    directives();
    comments();
    if (inBlockComment)
        return;
    start = pos;
    if (processing)
        applyRules();
    copyCharacter();
}

void MacroScanner::directives() {
    if (begins("--NOPROCESSING"))
        processing = false;
    if (begins("--OUTPUTPARSED"))
        outputParsed = true;
    if (begins("--OUTPUTSCOPES"))
        outputScopes = true;
}

void MacroScanner::comments() {
    if (begins("---")) {
        inBlockComment = !inBlockComment;
        pos += 3;
    } else if (begins("--") && atLineStart()) {
        pos = find("\n", pos);
        advance = false; // its newline is handled in this very step, and copied by the next
    }
}

void MacroScanner::applyRules() {
    zeroIndex();
    trackQuotes();
    operators();
    include();
    barePrint();
    semicolon();
    local();
    compoundAssignment();
    ifHeader();
    classHeader();
    def();
    blockWords();
    forHeader();
    closePrint();
    lineEnd();
}

void MacroScanner::copyCharacter() {
    if (pos >= length || !advance)
        return;
    if (text[pos] == '\r')
        printf("Warning: Windows newlines are not recommended!\n");
    emit(text[pos]);
}

// ---- Rules inside a line

void MacroScanner::zeroIndex() const {
    if (begins("[ 0 ]") || begins("[0]"))
        printf("WARNING! zero index [0] encountered!\n");
}

/// Inside a string the other kind of quote becomes the one that closes it.
void MacroScanner::trackQuotes() {
    const char c = at(pos);
    if ((c != '\'' && c != '"') || (pos > 0 && text[pos - 1] == '\\'))
        return;
    if (inString && c == quoteChar) {
        inString = false;
        return;
    }
    inString = true;
    quoteChar = c;
}

void MacroScanner::operators() {
    if (begins("!="))
        replace("~=", 2);
    if (at(pos) == '!' && !inString)
        replace("not ", 1);
    if (begins("NULL"))
        replace("nil", 4);
}

void MacroScanner::include() {
    if (namesEnded || !begins("dofile"))
        return;
    const int open = find("'\"", pos + 6);
    const int close = find("'\"", open + 1);
    if (close == length) { // here and from here on: such words stay, and are not searched for again
        printf("ERR: dofile without a quoted file name\n");
        namesEnded = true;
        return;
    }
    includeFile(text.substr(open + 1, close - open - 1));
    emit('\n');
    moveTo(close + 1);
    advance = false;
}

void MacroScanner::includeFile(const std::string& name) {
    const std::string path = nativePath(name.c_str());
    if (limits.includesStopped)
        return;
    if (limits.includeDepth == maxIncludeDepth) {
        printf("ERR: dofile nests more than %i files, stopped at %s\n", maxIncludeDepth, path.c_str());
        limits.includesStopped = true;
        return;
    }
    DataBlock file, translated;
    if (!file.ReadFile(path.c_str())) {
        printf("ERR: dofile cannot read %s\n", path.c_str());
        return;
    }
    if (!limits.Take(file.Len()))
        return;
    ++limits.includeDepth;
    MacroScanner(&file, &translated, outputScopes, limits).Run(false);
    --limits.includeDepth;
    output->Append(&translated);
}

/// The parenthesis takes the place of the one character after the word.
void MacroScanner::barePrint() {
    if (!begins("print") || at(skipBlanks(pos + 5)) == '(')
        return;
    replace("print(", 6);
    pendingParen = true;
}

void MacroScanner::semicolon() {
    if (at(pos) != ';')
        return;
    if (atLineStart())
        replace("end", 1);
    else if (pos + 1 < length && !IsWhitespace(text[pos + 1]))
        replace(":", 1);
}

void MacroScanner::local() {
    if (at(pos) == '_' && atLineStart())
        replace("local ", 1);
}

/// x += 1 becomes x = x+ 1: the target is already written, so "= " and the line up to here follow it. On the
/// first line, which no newline begins, the text's first character is never part of a longer target.
void MacroScanner::compoundAssignment() {
    if (!begins("+=") && !begins("-=") && !begins("/=") && !begins("*="))
        return;
    int last = pos - 1;
    while (last > 0 && text[last] == ' ')
        --last;
    int before = last - 1;
    while (before >= 1 && text[before] != '\n')
        --before;
    const int first = std::max(before + 1, 0);
    emit("= ");
    emit(text.data() + first, last - first + 1);
    emit(text[pos]);
    moveTo(pos + 2);
    advance = false;
}

// ---- Headers of blocks

void MacroScanner::ifHeader() {
    if (begins("elseif") && atLineStart())
        pendingThen = true;
    if ((begins("if ") || begins("if(")) && atLineStart()) {
        pendingThen = true;
        ++depth;
    }
    if (begins("then"))
        pendingThen = false; // the author wrote it
    closeHeader(pendingThen, " then");
}

/// Writes the word that a header lacks in place of the colon at its end, or at the end without a colon.
void MacroScanner::closeHeader(bool& pending, const char* word) {
    const bool colon = begins(":\n");
    if (!pending || (!colon && at(pos) != '\n'))
        return;
    emit(word);
    pending = false;
    if (colon)
        moveTo(pos + 1);
}

void MacroScanner::classHeader() {
    if (!begins("class ") || !atLineStart())
        return;
    const int nameStart = pos + 6;
    int end = find(": (", nameStart);
    className = text.substr(nameStart, end - nameStart);
    emit(className);
    emit(" = class( ");
    if (at(end) == '(')
        end = copyBaseName(end + 1);
    emit(" )");
    moveTo(end + 1);
}

/// @return where the header's colon stands
int MacroScanner::copyBaseName(int from) {
    const int first = skipBlanks(from);
    const int end = find(" \t)", first);
    emit(text.data() + first, end - first);
    return find(":", end);
}

void MacroScanner::def() {
    if (!begins("def "))
        return;
    emit("function ");
    ++depth;
    if (indent == 1 && !className.empty())
        emit(className + " : ");
    const int colon = find(":", pos + 4);
    emit(text.data() + pos + 4, colon - pos - 4);
    moveTo(colon + 1);
    advance = false;
}

void MacroScanner::blockWords() {
    if (begins("function "))
        ++depth;
    if (begins("else"))
        ++depth; // the lesser indentation of its line has closed the block before it
    if (begins("else:"))
        replace("else", 5);
}

void MacroScanner::forHeader() {
    if (begins("for ")) {
        pendingDo = true;
        ++depth;
    }
    if (begins(" do"))
        pendingDo = false;
    closeHeader(pendingDo, " do");
}

// ---- Line ends

void MacroScanner::closePrint() {
    if (at(pos) != '\n' || !pendingParen)
        return;
    emit(')');
    pendingParen = false;
}

void MacroScanner::lineEnd() {
    if (at(pos) != '\n')
        return;
    int next = pos + 1;
    while (at(next) == '\t')
        ++next;
    const int tabs = next - pos - 1;
    if (outputScopes)
        emit(std::string("--S:") + scopeDigit() + ' ');
    if (tabs < indent)
        closeBlocks(tabs, text.c_str() + next);
    indent = tabs;
    if (indent == 0)
        className.clear();
}

/// Writes the newline at pos and, below it, the ends of the blocks that the next line's indentation leaves.
/// A line that closes or continues its block by itself is believed to do so for all of them.
void MacroScanner::closeBlocks(int tabs, const char* nextLine) {
    const bool closesItself = strBeginsWith(nextLine, ";", true) || strBeginsWith(nextLine, "end\n", true) ||
                              strBeginsWith(nextLine, "else", true);
    emit('\n');
    for (; tabs < indent && depth > 0 && !limits.Spent(); --depth, --indent)
        if (!closesItself)
            emit(std::string(indent - 1, '\t') + "end\n");
    moveTo(pos + 1);
    advance = false;
}

/// One printable character for any depth.
char MacroScanner::scopeDigit() const {
    if (depth < 10)
        return static_cast<char>('0' + depth);
    return depth < 36 ? static_cast<char>('A' + depth - 10) : '+';
}

} // namespace

void ProcessLuaMacros(DataBlock* input, DataBlock* output, bool appendNull, bool outputScopes) {
    Limits limits;
    MacroScanner(input, output, outputScopes, limits).Run(appendNull);
}

bool WhiteSpaceBefore(const char* text, int position) {
    int i = position - 1;
    while (i > 0 && (text[i] == ' ' || text[i] == '\t'))
        --i;
    return i >= 0 && text[i] == '\n';
}

bool IsWhitespace(char c) {
    return c == ' ' || c == '\t' || c == '\n';
}
