// Every string function, on buffers of exactly the sizes that their comments ask for; where the standard
// library has the same function, the answers are compared.
#include "fuzz_common.h"
#include "strfuncs.h"

#include <algorithm>
#include <strings.h>

namespace {

void compare(const std::string& a, const std::string& b, ByteFeed& feed) {
    const ExactText left(a), right(b);
    const std::string first = left.operator char*(), second = right.operator char*();
    const int limit = feed.Flag() ? feed.Byte() : feed.Int();
    FUZZ_CHECK(strequal(left, right, true) == (first == second));
    FUZZ_CHECK(strequal(left, right, false) == (strcasecmp(left, right) == 0));
    strequal(left, right, limit, feed.Flag());
    FUZZ_CHECK(strBeginsWith(left, right, true) == (first.compare(0, second.size(), second) == 0));
    strBeginsWith(left, right, false);
    FUZZ_CHECK(strlength(left) == static_cast<int>(first.size()));
    const int start = feed.Int();
    const std::size_t from = start < 0 ? 0 : static_cast<std::size_t>(start);
    FUZZ_CHECK(searchString(left, right, start) == static_cast<int>(first.find(second, from)));
    const bool found = findString(left, right);
    FUZZ_CHECK(found == ((" " + second + " ").find(" " + first + " ") != std::string::npos &&
                         !first.empty() && first.find(' ') == std::string::npos));
}

void copy(const std::string& a, const std::string& b, ByteFeed& feed) {
    const ExactText source(a);
    const int limit = feed.Byte() - 4;
    const std::size_t copied = static_cast<std::size_t>(std::max(limit, 0));
    const ExactText target("", copied + 1);
    strcopy(source, target, limit);
    FUZZ_CHECK(std::string(target) == std::string(source).substr(0, copied));
    const ExactText longer(b, strlen(b.c_str()) + copied + 1);
    StrAppend(longer, source, limit);
    toLower(longer);
    toLower(source);
}

void numbers(const std::string& a, ByteFeed& feed) {
    const ExactText text(a);
    numeric(text);
    toint(text);
    const int value = feed.Int(), width = feed.Byte() - 2;
    const ExactText digits("", static_cast<std::size_t>(std::max(width, 10) + 2));
    IntToStr(value, digits, width);
    char expected[300];
    const int signedWidth = std::max(width, 1) + (value < 0 ? 1 : 0);
    snprintf(expected, sizeof(expected), "%0*d", signedWidth, value);
    FUZZ_CHECK(strcmp(digits, expected) == 0);
}

void lines(const std::string& a, ByteFeed& feed) {
    const ExactText text(a);
    const int maxLen = feed.Byte();
    const ExactText line("", static_cast<std::size_t>(std::max(maxLen, 1)));
    // Each line takes at most two calls, one for what was cut and one for its line break.
    std::size_t calls = 0;
    for (int cursor = feed.Flag() ? -feed.Byte() : 0; cursor != -1; ++calls) {
        GetNextLine(text, cursor, line, maxLen);
        FUZZ_CHECK(!strpbrk(line, "\n\r") && calls <= 2 * a.size() + 2);
        const ExactText word("", strlen(line) + 1);
        for (int index = -1; GetLineWord(line, word, index) || index < 0; ++index)
            FUZZ_CHECK(!strchr(word, ' '));
    }
}

void paths(const std::string& a) {
    const ExactText path(a), name("", 33);
    GetFileNameNoExt(path, name);
    FUZZ_CHECK(strnlen(name, 33) <= 32 && !strpbrk(name, "/\\"));
    FUZZ_CHECK(nativePath(path).size() == strlen(path));
}

void files(const std::string& a) {
    enterScratchDirectory();
    writeBytes("text", a.data(), a.size());
    const char* text = file2string("text");
    FUZZ_CHECK(text && strlen(text) <= a.size());
    delete[] text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    ByteFeed feed(bytes, count);
    const int what = feed.Choice(32);
    const std::string a = feed.Text(static_cast<std::size_t>(feed.Byte()));
    const std::string b = feed.Text(static_cast<std::size_t>(feed.Byte()));
    compare(a, b, feed);
    copy(a, b, feed);
    numbers(a, feed);
    lines(a, feed);
    paths(a);
    if (what == 31)
        files(a);
    return 0;
}
