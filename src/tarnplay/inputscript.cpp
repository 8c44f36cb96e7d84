// Reading and writing input scripts.
#include "inputscript.h"

#include "strfuncs.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

constexpr int kLongestLine = 16384;   // bytes; anything longer is no input script
constexpr int kFarthestPixel = 16384; // no window is larger
constexpr const char* kNoSetting =
    "neither a frame nor seed N, size WIDTH HEIGHT, shaders off, frames N, save KEY TEXT: ";
constexpr std::size_t kLongestKey = 4096;         // bytes; no path is longer
constexpr std::size_t kSaveText = 200;            // bytes of a save that one line holds
constexpr char kByteOrderMark[] = "\xef\xbb\xbf"; // some editors begin a text with it
constexpr std::size_t kQuoted = 40;               // bytes of a wrong word that a message shows

// In the order of their codes.
const char* const kKeys[] = {
    "A",         "B",        "C",       "D",         "E",        "F",         "G",        "H",
    "I",         "J",        "K",       "L",         "M",        "N",         "O",        "P",
    "Q",         "R",        "S",       "T",         "U",        "V",         "W",        "X",
    "Y",         "Z",        "Num0",    "Num1",      "Num2",     "Num3",      "Num4",     "Num5",
    "Num6",      "Num7",     "Num8",    "Num9",      "Escape",   "LControl",  "LShift",   "LAlt",
    "LSystem",   "RControl", "RShift",  "RAlt",      "RSystem",  "Menu",      "LBracket", "RBracket",
    "Semicolon", "Comma",    "Period",  "Quote",     "Slash",    "Backslash", "Tilde",    "Equal",
    "Hyphen",    "Space",    "Enter",   "Backspace", "Tab",      "PageUp",    "PageDown", "End",
    "Home",      "Insert",   "Delete",  "Add",       "Subtract", "Multiply",  "Divide",   "Left",
    "Right",     "Up",       "Down",    "Numpad0",   "Numpad1",  "Numpad2",   "Numpad3",  "Numpad4",
    "Numpad5",   "Numpad6",  "Numpad7", "Numpad8",   "Numpad9",  "F1",        "F2",       "F3",
    "F4",        "F5",       "F6",      "F7",        "F8",       "F9",        "F10",      "F11",
    "F12",       "F13",      "F14",     "F15",       "Pause"};
static_assert(std::size(kKeys) == sf::Keyboard::KeyCount, "a name for each key");

// What the library and the demos' keys.lua call some of them besides.
const struct {
    const char* name;
    int code;
} kOtherNames[] = {
    {"Return", sf::Keyboard::Enter}, {"Back", sf::Keyboard::Backspace}, {"Dash", sf::Keyboard::Hyphen},
    {"Pad0", sf::Keyboard::Numpad0}, {"Pad1", sf::Keyboard::Numpad1},   {"Pad2", sf::Keyboard::Numpad2},
    {"Pad3", sf::Keyboard::Numpad3}, {"Pad4", sf::Keyboard::Numpad4},   {"Pad5", sf::Keyboard::Numpad5},
    {"Pad6", sf::Keyboard::Numpad6}, {"Pad7", sf::Keyboard::Numpad7},   {"Pad8", sf::Keyboard::Numpad8},
    {"Pad9", sf::Keyboard::Numpad9}, {"Unknown", sf::Keyboard::Unknown}};

const char* const kButtons[] = {"left", "right", "middle", "x1", "x2"};
static_assert(std::size(kButtons) == sf::Mouse::ButtonCount, "a name for each button");

using Words = std::vector<std::string>;

Words wordsOf(const std::string& line) {
    std::istringstream text(line.substr(0, line.find('#')));
    return {std::istream_iterator<std::string>(text), {}};
}

// For messages: short, and nothing that a terminal would obey.
std::string quoted(const std::string& word) {
    std::string shown = word.substr(0, kQuoted);
    std::replace_if(
        shown.begin(), shown.end(), [](unsigned char c) { return c < ' ' || c == 127; }, '?');
    return '"' + shown + (word.size() > kQuoted ? "...\"" : "\"");
}

std::optional<long long> wholeNumber(const std::string& word, long long lowest, long long highest) {
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(word.c_str(), &end, 10);
    if (word.empty() || *end != '\0' || errno != 0 || value < lowest || value > highest)
        return std::nullopt;
    return value;
}

std::optional<int> numberOf(const std::string& word, int lowest, int highest) {
    const auto value = wholeNumber(word, lowest, highest);
    return value ? std::optional<int>(static_cast<int>(*value)) : std::nullopt;
}

template <std::size_t count>
std::optional<int> indexOf(const std::string& word, const char* const (&names)[count]) {
    const auto found = std::find_if(std::begin(names), std::end(names),
                                    [&](const char* name) { return strequal(name, word.c_str(), false); });
    if (found == std::end(names))
        return std::nullopt;
    return static_cast<int>(found - std::begin(names));
}

std::optional<int> keyOf(const std::string& word) {
    if (const auto code = numberOf(word, 0, sf::Keyboard::KeyCount - 1))
        return code;
    for (const auto& other : kOtherNames)
        if (strequal(other.name, word.c_str(), false))
            return other.code;
    return indexOf(word, kKeys);
}

// "down" or "up".
std::optional<bool> downOf(const std::string& word) {
    if (word != "down" && word != "up")
        return std::nullopt;
    return word == "down";
}

std::string wrongWay(const std::string& word) {
    return "neither \"down\" nor \"up\": " + quoted(word);
}

// Each of these reads the words behind a frame's number and the kind of the event, which are as many as the
// kind wants.

std::string readKey(const Words& words, sf::Event& event) {
    const auto code = keyOf(words[2]);
    const auto down = downOf(words[3]);
    if (!code)
        return "there is no key " + quoted(words[2]);
    if (!down)
        return wrongWay(words[3]);
    event.type = *down ? sf::Event::KeyPressed : sf::Event::KeyReleased;
    event.key.code = static_cast<sf::Keyboard::Key>(*code);
    return "";
}

std::string readButton(const Words& words, sf::Event& event) {
    const auto button = indexOf(words[2], kButtons);
    const auto down = downOf(words[3]);
    if (!button)
        return "there is no button " + quoted(words[2]);
    if (!down)
        return wrongWay(words[3]);
    event.type = *down ? sf::Event::MouseButtonPressed : sf::Event::MouseButtonReleased;
    event.mouseButton.button = static_cast<sf::Mouse::Button>(*button);
    return "";
}

std::string readWheel(const Words& words, sf::Event& event) {
    const auto down = downOf(words[2]);
    if (!down)
        return wrongWay(words[2]);
    event.type = sf::Event::MouseWheelMoved;
    event.mouseWheel.delta = *down ? -1 : 1;
    return "";
}

std::string readPointer(const Words& words, sf::Event& event) {
    const auto x = numberOf(words[2], -kFarthestPixel, kFarthestPixel);
    const auto y = numberOf(words[3], -kFarthestPixel, kFarthestPixel);
    if (!x || !y)
        return "no pixel: " + quoted(words[x ? 3 : 2]);
    event.type = sf::Event::MouseMoved;
    event.mouseMove = {*x, *y};
    return "";
}

std::string readResize(const Words& words, sf::Event& event) {
    const auto width = numberOf(words[2], 1, kFarthestPixel);
    const auto height = numberOf(words[3], 1, kFarthestPixel);
    if (!width || !height)
        return "no size: " + quoted(words[width ? 3 : 2]);
    event.type = sf::Event::Resized;
    event.size = {static_cast<unsigned>(*width), static_cast<unsigned>(*height)};
    return "";
}

const struct {
    const char* name;
    std::size_t words; // of the whole line
    const char* form;
    std::string (*read)(const Words& words, sf::Event& event);
} kKinds[] = {{"key", 4, "FRAME key NAME down|up", readKey},
              {"pointer", 4, "FRAME pointer X Y", readPointer},
              {"button", 4, "FRAME button left|right|middle|x1|x2 down|up", readButton},
              {"wheel", 3, "FRAME wheel up|down", readWheel},
              {"resize", 4, "FRAME resize WIDTH HEIGHT", readResize}};

std::string readEvent(int frame, const Words& words, InputScript& script) {
    for (const auto& kind : kKinds) {
        if (words[1] != kind.name)
            continue;
        if (words.size() != kind.words)
            return std::string("wanted is: ") + kind.form;
        InputEvent read{frame, sf::Event()};
        std::string problem = kind.read(words, read.event);
        if (problem.empty())
            script.events.push_back(read);
        return problem;
    }
    return "there is no event " + quoted(words[1]);
}

std::string readHash(int frame, const Words& words, InputScript& script) {
    char* end = nullptr;
    const std::uint64_t hash = words.size() == 3 ? std::strtoull(words[2].c_str(), &end, 16) : 0;
    if (!end || *end != '\0' || words[2].size() != 16)
        return "wanted is: FRAME hash and 16 hexadecimal digits";
    script.hashes[frame] = hash;
    return "";
}

bool readSize(const Words& words, InputScript& script) {
    const auto width = numberOf(words[1], 1, kFarthestPixel);
    const auto height = words.size() == 3 ? numberOf(words[2], 1, kFarthestPixel) : std::nullopt;
    if (!width || !height)
        return false;
    script.width = *width;
    script.height = *height;
    return true;
}

bool isEncoded(unsigned char byte) {
    return byte <= ' ' || byte == 127 || byte == '%' || byte == '#';
}

std::string encoded(const std::string& text) {
    std::string word;
    for (const unsigned char byte : text) {
        char code[4];
        snprintf(code, sizeof code, isEncoded(byte) ? "%%%02x" : "%c", byte);
        word += code;
    }
    return word;
}

std::optional<std::string> decoded(const std::string& word) {
    std::string text;
    for (std::size_t at = 0; at < word.size(); ++at) {
        if (word[at] != '%') {
            text += word[at];
            continue;
        }
        const std::string digits = word.substr(at + 1, 2);
        if (digits.size() != 2 || digits.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos)
            return std::nullopt;
        text += static_cast<char>(std::strtol(digits.c_str(), nullptr, 16));
        at += 2;
    }
    return text;
}

bool readSave(const Words& words, InputScript& script) {
    const auto key = decoded(words[1]);
    const auto text = decoded(words.size() > 2 ? words[2] : "");
    if (!key || !text || words.size() > 3)
        return false;
    script.saves[*key] += *text;
    return true;
}

// @return false for a line that has no frame and is none of these settings either
bool readSetting(const Words& words, InputScript& script) {
    if (words.size() < 2)
        return false;
    if (words[0] == "size")
        return readSize(words, script);
    if (words[0] == "save")
        return readSave(words, script);
    const auto number = wholeNumber(words[1], 0, UINT_MAX);
    if (words.size() > 2 || (words[0] != "shaders" && !number))
        return false;
    if (words[0] == "seed")
        script.seed = static_cast<unsigned>(*number);
    else if (words[0] == "frames" && *number <= INT_MAX)
        script.frames = static_cast<int>(*number);
    else if (words[0] == "shaders" && words[1] == "off")
        script.shaders = false;
    else
        return false;
    return true;
}

std::string problemAt(const std::string& path, int line, const std::string& problem) {
    return path + ':' + std::to_string(line) + ": " + problem;
}

std::string keyName(int code) {
    if (code >= 0 && code < sf::Keyboard::KeyCount)
        return kKeys[code];
    return "Unknown";
}

std::string describe(const sf::Event& event) {
    const auto way = [](bool down) { return down ? " down" : " up"; };
    const auto pair = [](auto a, auto b) { return std::to_string(a) + ' ' + std::to_string(b); };
    switch (event.type) {
    case sf::Event::KeyPressed:
    case sf::Event::KeyReleased:
        return "key " + keyName(event.key.code) + way(event.type == sf::Event::KeyPressed);
    case sf::Event::MouseButtonPressed:
    case sf::Event::MouseButtonReleased:
        return event.mouseButton.button < sf::Mouse::ButtonCount
                   ? std::string("button ") + kButtons[event.mouseButton.button] +
                         way(event.type == sf::Event::MouseButtonPressed)
                   : "";
    case sf::Event::MouseWheelMoved:
        return std::string("wheel") + way(event.mouseWheel.delta == -1);
    case sf::Event::MouseMoved:
        return "pointer " + pair(event.mouseMove.x, event.mouseMove.y);
    case sf::Event::Resized:
        return "resize " + pair(event.size.width, event.size.height);
    default:
        return "";
    }
}

} // namespace

std::string InputScript::Read(const std::string& line) {
    const Words words = wordsOf(line);
    if (words.empty())
        return "";
    if (words[0].find_first_not_of("0123456789") != std::string::npos)
        return readSetting(words, *this) ? "" : std::string(kNoSetting) + quoted(words[0]);
    const auto frame = numberOf(words[0], 1, INT_MAX);
    if (!frame)
        return "no frame: " + quoted(words[0]);
    if (words.size() == 1)
        return "nothing happens in this frame";
    return words[1] == "hash" ? readHash(*frame, words, *this) : readEvent(*frame, words, *this);
}

std::string InputScript::Load(const std::string& path) {
    std::ifstream file(path);
    char line[kLongestLine + 1];
    int number = 0;
    while (file.getline(line, sizeof line)) {
        const bool marked = number == 0 && std::strncmp(line, kByteOrderMark, 3) == 0;
        const std::string problem = Read(marked ? line + 3 : line);
        if (++number; !problem.empty())
            return problemAt(path, number, problem);
    }
    if (file.gcount() > 0 && !file.eof())
        return problemAt(path, number + 1, "this line is too long");
    if (!file.eof() || file.bad())
        return path + ": cannot be read";
    std::stable_sort(events.begin(), events.end(),
                     [](const InputEvent& a, const InputEvent& b) { return a.frame < b.frame; });
    return "";
}

std::string SaveLines(const std::string& key, const std::string& text) {
    std::string lines;
    for (std::size_t at = 0; key.size() <= kLongestKey && (at == 0 || at < text.size()); at += kSaveText)
        lines +=
            "save " + encoded(key) + (text.empty() ? "" : ' ' + encoded(text.substr(at, kSaveText))) + '\n';
    return lines;
}

std::string InputLine(const InputEvent& event) {
    const std::string text = describe(event.event);
    return text.empty() ? text : std::to_string(event.frame) + ' ' + text;
}
