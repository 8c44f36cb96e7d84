// The sources of scripts as their authors see them: reading their lines, and finding the one that a line of
// the compiled Lua came from.
#pragma once

#include <string>
#include <vector>

// MoonScript is compiled to Lua, and Lua's messages count the lines of that. The compiler tells for some of
// its lines at which character of the source they began: mostly the first line of a statement. Lines between
// are told by what they have in common with the source around that place: their names, numbers and operators,
// and above all the names that the message itself contains.

/// What a message says about the spot where it was raised.
struct ErrorHint {
    std::vector<std::string> names; ///< of fields, methods and variables
    std::string kind;               ///< "field", "method", "local", ... of the first name; or empty
    std::string operators;          ///< characters one of which stands at the spot; empty when not known
};

/// @param message without its position
ErrorHint ReadHint(const std::string& message);

/// Lines of compiled Lua, counted from 1.
struct CompiledSpan {
    int line;           ///< the one in question
    int first = 0;      ///< of the function that it is in; 0 when that is not known
    int last = 1 << 30; ///< of that function
};

/// One source file, .lua or .moon. It stays as it was when it was opened.
class SourceLines {
public:
    /// Reads a file; compiles it when its name ends in ".moon".
    explicit SourceLines(const std::string& path);
    /// Takes a text as plain Lua.
    static SourceLines OfText(const std::string& text);

    bool Empty() const { return lines.empty(); }
    int Count() const { return static_cast<int>(lines.size()); }
    /// @param line from 1; outside of the file it is ""
    const std::string& Line(int line) const;
    /// @param line of the compiled Lua, from 1; outside of it it is ""
    const std::string& Code(int line) const;
    /// @return the source's line, from 1 to Count(); what is not known counts as plain Lua
    int Find(const CompiledSpan& span, const ErrorHint& hint) const;
    /// Whether a name is one of those that the MoonScript compiler has made: "_list_0", "_base_1".
    bool IsMadeUp(const std::string& name) const;
    /// @param madeUp a local that the MoonScript compiler has made
    /// @param compiledLine that uses it
    /// @return what the author wrote there, when that is a name or names joined by dots; otherwise ""
    std::string MeaningOf(const std::string& madeUp, int compiledLine) const;
    /// Finds the function that calls itself without arguments: where that has no end, Lua's stack may be so
    /// full that nobody can ask it.
    /// @return the line of its call; 0 when there is no such function or more than one
    int FindRecursion() const;
    /// Whether the source was compiled to Lua.
    bool IsCompiled() const { return !compiled.empty(); }
    /// Finds the line that ended with "return builtin(...)", where a library function has raised an error.
    /// Lua forgets such a call: what it remembers is the line that called the function with that line.
    /// @param caller the line of compiled Lua that Lua remembers, or the name of the callback that was called
    /// @return the source's line; 0 when the builtin was called there itself, or no line is better than
    /// others
    int FindTailCall(const std::string& builtin, const std::string& message, const std::string& caller) const;

private:
    SourceLines() = default;
    void privCompile(const std::string& text);
    int privFindInMoon(int compiledLine, const ErrorHint& hint) const;
    int privFindInLua(const CompiledSpan& span, const ErrorHint& hint) const;
    std::vector<std::string> privCompiledTokens(int compiledLine) const;
    std::string privDefinition(const std::string& madeUp, int compiledLine) const;
    const std::vector<std::string>& privCode() const { return compiled.empty() ? lines : compiled; }

    std::vector<std::string> lines;
    std::vector<std::string> compiled; // lines of Lua; empty for a source in Lua
    std::vector<int> origins; // of each compiled line: the source's line, 0 when the compiler does not say
};

/// @return bytes before the spot in a source line that the hint tells about; otherwise its indentation
std::size_t FindColumn(const std::string& line, const ErrorHint& hint);
