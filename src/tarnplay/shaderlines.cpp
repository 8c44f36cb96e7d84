// Reading compilers' logs, and the way back from a stage's text to the files.
#include "shaderlines.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>

namespace {

using Offset = std::size_t;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

bool isBreak(char c) {
    return c == '\n' || c == '\r';
}

bool isWordPart(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

/// Where the next line begins. Both characters of a pair make one line's end.
Offset nextLine(const std::string& text, Offset at) {
    while (at < text.size() && !isBreak(text[at]))
        ++at;
    if (at == text.size())
        return at;
    const bool pair = at + 1 < text.size() && isBreak(text[at + 1]) && text[at + 1] != text[at];
    return at + (pair ? 2 : 1);
}

/// The line that a compiler counts so; beyond the end the last one.
Offset startOfLine(const std::string& text, int line) {
    Offset start = 0;
    for (; line > 1 && nextLine(text, start) < text.size(); --line)
        start = nextLine(text, start);
    return start;
}

/// Where the column of a line is in what the author wrote.
Offset atColumn(const std::string& line, int column) {
    Offset at = 0;
    for (int passed = 1; passed < column && at < line.size(); ++passed) {
        const bool blank = isBlank(line[at]);
        ++at;
        while (blank && at < line.size() && isBlank(line[at]))
            ++at;
    }
    return at < line.size() ? at : std::string::npos;
}

/// The first name in quotation marks; "" for none.
std::string quotedName(const std::string& message) {
    for (Offset mark = message.find_first_of("`'\""); mark != std::string::npos;
         mark = message.find_first_of("`'\"", mark + 1)) {
        const auto start = message.begin() + static_cast<long>(mark) + 1;
        const auto end = std::find_if_not(start, message.end(), isWordPart);
        if (start != end && !std::isdigit(static_cast<unsigned char>(*start)))
            return std::string(start, end);
    }
    return "";
}

/// The place of a whole word that is nearest to one; npos when there is none.
Offset nearestWord(const std::string& line, const std::string& word, Offset to) {
    Offset best = std::string::npos;
    const auto distance = [to](Offset at) { return at > to ? at - to : to - at; };
    for (Offset at = line.find(word); at != std::string::npos; at = line.find(word, at + 1)) {
        const bool whole = (at == 0 || !isWordPart(line[at - 1])) &&
                           (at + word.size() >= line.size() || !isWordPart(line[at + word.size()]));
        if (whole && (best == std::string::npos || distance(at) < distance(best)))
            best = at;
    }
    return best;
}

/// What a complaint about a line means in it.
/// @param start of the line's last piece: a column beyond the line comes from a macro, most likely there
Offset spotIn(const std::string& line, Offset start, const ShaderComplaint& complaint) {
    const Offset column = complaint.column > 0 ? atColumn(line, complaint.column) : std::string::npos;
    const Offset likely = column != std::string::npos ? column : line.find_first_not_of(" \t\v\f", start);
    const std::string name = quotedName(complaint.message);
    const Offset named = name.empty() ? std::string::npos : nearestWord(line, name, likely);
    return named != std::string::npos ? named : likely;
}

bool dropWord(std::string& message, const std::string& word) {
    const bool there = message.compare(0, word.size(), word) == 0;
    if (there)
        message.erase(0, word.size());
    return there;
}

/// Takes the number of a line, and of a column where there is one, off the message's beginning.
bool takePosition(ShaderComplaint& complaint) {
    const char* text = complaint.message.c_str();
    int length = 0;
    sscanf(text, "%*9d:%9d(%9d) : %n", &complaint.line, &complaint.column, &length);
    if (length == 0)
        complaint.column = 0;
    if (length == 0)
        sscanf(text, "%*9d:%9d : %n", &complaint.line, &length);
    if (length == 0)
        sscanf(text, "%*9d(%9d) : %n", &complaint.line, &length);
    complaint.message.erase(0, static_cast<Offset>(length));
    return length > 0;
}

/// Whether the author has given the lines numbers of their own.
bool isRenumbered(const std::string& text) {
    for (Offset at = text.find("line"); at != std::string::npos; at = text.find("line", at + 1)) {
        Offset hash = at;
        while (hash > 0 && isBlank(text[hash - 1]))
            --hash;
        Offset start = hash > 0 ? hash - 1 : 0;
        if (text[start] != '#')
            continue;
        while (start > 0 && isBlank(text[start - 1]))
            --start;
        if (start == 0 || isBreak(text[start - 1]))
            return true;
    }
    return false;
}

/// Of a text that has any.
const ShaderPiece& pieceAt(const ShaderStage& stage, Offset at) {
    const auto after =
        std::find_if(stage.pieces.begin() + 1, stage.pieces.end(),
                     [at](const ShaderPiece& piece) { return piece.at > static_cast<int>(at); });
    return *(after - 1);
}

std::string trimmed(const std::string& text) {
    const Offset start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    return text.substr(start, text.find_last_not_of(" \t\r\n") + 1 - start);
}

} // namespace

std::vector<ShaderComplaint> ReadShaderLog(const std::string& log) {
    std::vector<ShaderComplaint> complaints;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        ShaderComplaint complaint;
        complaint.message = line;
        const bool warning = dropWord(complaint.message, "WARNING: ");
        dropWord(complaint.message, "ERROR: ");
        if (warning || !takePosition(complaint) || dropWord(complaint.message, "warning"))
            continue;
        dropWord(complaint.message, "error: ");
        complaint.message = trimmed(complaint.message);
        complaints.push_back(complaint);
    }
    if (!complaints.empty() || trimmed(log).empty())
        return complaints;
    ShaderComplaint whole;
    whole.message = trimmed(log);
    dropWord(whole.message, "error: ");
    return {whole};
}

std::optional<ShaderPlace> FindShaderPlace(const ShaderStage& stage, const ShaderComplaint& complaint) {
    std::string text(reinterpret_cast<const char*>(stage.text.data), static_cast<Offset>(stage.text.len));
    text.erase(text.find_last_not_of(std::string(" \t\r\n\0", 5)) + 1);
    if (complaint.line < 1 || stage.pieces.empty() || text.empty() || isRenumbered(text))
        return std::nullopt;
    const Offset start = startOfLine(text, complaint.line);
    const Offset length = std::min(text.find_first_of("\r\n", start), text.size()) - start;
    const auto last = static_cast<Offset>(pieceAt(stage, start + (length > 0 ? length - 1 : 0)).at);
    const Offset spot = spotIn(text.substr(start, length), std::max(start, last) - start, complaint);
    const Offset at = start + std::min(spot, length);
    const ShaderPiece& piece = pieceAt(stage, at);
    return ShaderPlace{piece.file, at + static_cast<Offset>(piece.from) - static_cast<Offset>(piece.at)};
}
