// Writing JUnit's XML.
#include "junit.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

const Clock::time_point started = Clock::now();

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"tarnplay\" ";

/// A test case, and the status that fails it.
struct TestCase {
    ExitStatus failure;
    const char* name;
    const char* type; // of the failure
    bool wanted;
};

// ---- Text ----

// @return the length of the UTF-8 sequence at the beginning, 0 when it is none or no character of XML
int sequenceLength(const unsigned char* text, std::size_t left) {
    static const unsigned smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const unsigned lead = text[0];
    if (lead < 0x80)
        return lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r' ? 1 : 0;
    const int length = lead >= 0xf8 ? 0 : lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc0 ? 2 : 0;
    if (length == 0 || static_cast<std::size_t>(length) > left)
        return 0;
    unsigned code = lead & (0xffu >> (length + 1));
    for (int i = 1; i < length; ++i) {
        if ((text[i] & 0xc0) != 0x80)
            return 0;
        code = code << 6 | (text[i] & 0x3f);
    }
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    return code < smallest[length] || code > 0x10ffff || surrogate || code == 0xfffe || code == 0xffff
               ? 0
               : length;
}

const char* entityFor(char c) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\n': // or readers of attributes would see a blank
        return "&#10;";
    case '\r':
        return "&#13;";
    case '\t':
        return "&#9;";
    default:
        return nullptr;
    }
}

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

// ---- The report ----

std::vector<TestCase> testCases(const Options& options) {
    const bool hasPictures = !options.expected.empty() || options.check;
    return {{STATUS_USAGE, "the run can begin", "WrongArguments", false},
            {STATUS_SCRIPT_ERROR, "the script runs", "ScriptError", true},
            {STATUS_OPENGL_ERROR, "no OpenGL error", "OpenGLError", true},
            {STATUS_TIME_LIMIT, "within the time limit", "TimeLimit", options.timeLimit > 0},
            {STATUS_PICTURE_DIFFERS, "the picture is as expected", "PictureDiffers", hasPictures}};
}

std::string caseText(const TestCase& test, const Options& options, const Finding* finding,
                     const std::string& time) {
    std::string text = "  <testcase classname=\"" + XmlText(options.script) + "\" name=\"" + test.name +
                       "\" time=\"" + time + "\"";
    if (!finding)
        return text + "/>\n";
    text += ">\n    <failure type=\"" + std::string(test.type) + "\" message=\"";
    text += XmlText(firstLine(finding->text)) + "\">" + XmlText(finding->text) + "</failure>\n";
    return text + "  </testcase>\n";
}

// Before the end of a run nobody can say what is in order: the cases that have not failed are left out.
std::string reportText(const Options& options, const Findings& findings) {
    const std::vector<Finding> found = findings.All();
    char seconds[40];
    snprintf(seconds, sizeof seconds, "%.3f", std::chrono::duration<double>(Clock::now() - started).count());
    std::string cases;
    int count = 0;
    for (const TestCase& test : testCases(options)) {
        const auto finding = std::find_if(found.begin(), found.end(),
                                          [&](const Finding& any) { return any.status == test.failure; });
        if (finding == found.end() && !(test.wanted && findings.IsComplete()))
            continue;
        // All are about one run: the first one has its time.
        cases +=
            caseText(test, options, finding == found.end() ? nullptr : &*finding, count == 0 ? seconds : "0");
        ++count;
    }
    char head[160];
    snprintf(head, sizeof head, "tests=\"%d\" failures=\"%d\" errors=\"0\" skipped=\"0\" time=\"%s\">\n",
             count, static_cast<int>(found.size()), seconds);
    return kHead + head + cases + "</testsuite>\n";
}

bool write(const Options& options, Findings& findings) {
    const std::string text = reportText(options, findings);
    FILE* const file = fopen(options.junit.c_str(), "wb");
    bool written = file && fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file)
        written = fclose(file) == 0 && written;
    if (!written)
        findings.Tell(STATUS_SCRIPT_ERROR, "cannot write " + options.junit);
    return written;
}

// ---- Older reports ----

// The last file that --junit names, also where the option library has not come that far.
std::string reportNamed(int argc, char** argv) {
    const std::string option = "--junit";
    std::string path;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == option && i + 1 < argc)
            path = argv[i + 1];
        else if (word.compare(0, option.size() + 1, option + '=') == 0)
            path = word.substr(option.size() + 1);
    }
    return path;
}

bool isReport(const std::string& path) {
    std::error_code error;
    std::string head(kHead.size(), ' ');
    return fs::is_regular_file(path, error) &&
           std::ifstream(path).read(head.data(), static_cast<std::streamsize>(head.size())) && head == kHead;
}

} // namespace

std::string XmlText(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data()) + at;
        const int length = sequenceLength(bytes, text.size() - at);
        const char* const entity = entityFor(text[at]);
        if (length == 0)
            result += "\xef\xbf\xbd";
        else if (entity)
            result += entity;
        else
            result.append(text, at, static_cast<std::size_t>(length));
        at += static_cast<std::size_t>(std::max(length, 1));
    }
    return result;
}

bool BeginReport(const Options& options) {
    std::error_code error;
    // What is written into a pipe cannot be replaced.
    if (options.junit.empty() ||
        (fs::exists(options.junit, error) && !fs::is_regular_file(options.junit, error)))
        return true;
    Findings unfinished;
    unfinished.Add(STATUS_SCRIPT_ERROR, "the run did not end by itself: it was killed or has crashed");
    return write(options, unfinished);
}

ExitStatus EndReport(const Options& options, Findings& findings) {
    if (!options.junit.empty())
        write(options, findings);
    return findings.Status();
}

void RemoveOldReport(int argc, char** argv) {
    const std::string path = reportNamed(argc, argv);
    std::error_code error;
    if (isReport(path))
        fs::remove(path, error);
}
