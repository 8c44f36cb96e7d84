// Copying the calls of a Lua state. It runs as a message handler, perhaps on a stack that has just
// overflowed: only calls that neither raise nor grow the stack, and only the innermost levels.
#include "errorstack.h"

#include "lua_api.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kOutermost = 6;  // calls looked at below a deep recursion
constexpr int kLevels = 48;    // calls looked at
constexpr int kFrames = 12;    // calls kept
constexpr int kVariables = 60; // of a function in which a coroutine is looked for
constexpr int kGlobals = 4000; // of a script, among which a function's name is looked for
constexpr int kFields = 64;    // of a table, likewise
constexpr std::size_t kMostText = 1 << 20;

bool endsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool beginsWith(const char* text, const char* beginning) {
    return std::strncmp(text, beginning, std::strlen(beginning)) == 0;
}

// The compiler's chunk, and the texts by which the host runs a script.
bool isHostChunk(const char* source) {
    return std::strcmp(source, "moonscript.lua") == 0 || beginsWith(source, "moonscript = require") ||
           beginsWith(source, "moonscript.dofile(\"") || beginsWith(source, "dofile(\"") ||
           std::strcmp(source, "=[tarnplay]") == 0;
}

// MoonScript's loader names chunks without the sign that marks a file's name.
bool isMoonFile(const std::string& source) {
    return endsWith(source, ".moon") && source.find('\n') == std::string::npos;
}

std::string functionName(const lua_Debug& call) {
    if (std::strcmp(call.what, "main") == 0)
        return "main chunk";
    if (call.name && std::strcmp(call.name, "?") != 0)
        return std::string("function '") + call.name + "'";
    return "";
}

StackFrame frameOf(const lua_Debug& call) {
    StackFrame frame = {
        "", "", call.short_src, functionName(call), call.currentline, call.linedefined, call.lastlinedefined};
    const bool isMain = call.linedefined == 0;
    if (isMain || frame.last <= 0)
        frame.last = 1 << 30;
    const std::string source(call.source, strnlen(call.source, kMostText));
    if (source[0] == '@')
        frame.file = PlainPath(source.substr(1));
    else if (isMoonFile(source))
        frame.file = PlainPath(source);
    else if (source[0] != '=')
        frame.text = source;
    return frame;
}

bool sameSpot(const StackFrame& a, const StackFrame& b) {
    return a.line == b.line && a.shortName == b.shortName;
}

// Adds the calls from one level on. The innermost call of a dead coroutine may have lost its line: 0.
void readLevels(lua_State* L, int first, std::vector<StackFrame>& frames) {
    lua_Debug call;
    for (int level = first; level < first + kLevels && lua_getstack(L, level, &call); ++level) {
        if (!lua_getinfo(L, "nSl", &call) || std::strcmp(call.what, "C") == 0 || isHostChunk(call.source))
            continue;
        const bool lost = call.currentline <= 0;
        if (lost && (level > 0 || call.linedefined <= 0))
            continue;
        StackFrame frame = frameOf(call);
        frame.line = lost ? 0 : frame.line;
        const bool recursion = !frames.empty() && sameSpot(frames.back(), frame);
        if (!recursion && frames.size() < kFrames)
            frames.push_back(frame);
    }
}

// The number of calls. Looking at a level costs time in proportion to it, so few are looked at.
int depthOf(lua_State* L) {
    lua_Debug call;
    int there = kLevels, missing = 2 * kLevels;
    while (lua_getstack(L, missing, &call)) {
        there = missing;
        missing *= 2;
    }
    while (missing - there > 1) {
        const int middle = there + (missing - there) / 2;
        (lua_getstack(L, middle, &call) ? there : missing) = middle;
    }
    return missing;
}

// The innermost calls and, below an endless recursion, the outermost.
void readFrames(lua_State* L, std::vector<StackFrame>& frames) {
    readLevels(L, 0, frames);
    lua_Debug call;
    if (frames.size() < kFrames && lua_getstack(L, kLevels, &call))
        readLevels(L, std::max(kLevels, depthOf(L) - kOutermost), frames);
}

std::string messageOf(lua_State* L, int index) {
    char text[100];
    switch (lua_type(L, index)) {
    case LUA_TSTRING: {
        std::size_t length = 0;
        const char* message = lua_tolstring(L, index, &length);
        return std::string(message, length);
    }
    case LUA_TNUMBER:
        snprintf(text, sizeof(text), "%.14g", lua_tonumber(L, index));
        return text;
    default:
        snprintf(text, sizeof(text), "(the error is a %s value)", luaL_typename(L, index));
        return text;
    }
}

// A table as an error often carries its text in a field.
std::string fieldMessage(lua_State* L, int index) {
    for (const char* field : {"message", "msg"}) {
        lua_pushstring(L, field);
        lua_rawget(L, index);
        const bool found = lua_type(L, -1) == LUA_TSTRING;
        const std::string message = found ? messageOf(L, -1) : "";
        lua_pop(L, 1);
        if (found)
            return message;
    }
    return messageOf(L, index);
}

// ---- Library functions

// The key in the table on top under which it holds the function at an index; "" without one.
std::string keyOfFunction(lua_State* L, int function) {
    std::string key;
    lua_pushnil(L);
    for (int i = 0; lua_next(L, -2); ++i) {
        const bool found = lua_rawequal(L, -1, function) && lua_type(L, -2) == LUA_TSTRING;
        if (found)
            key = messageOf(L, -2);
        lua_pop(L, found || i > kGlobals ? 2 : 1);
        if (found || i > kGlobals)
            break;
    }
    return key;
}

// The name under which Lua's libraries have the function on top.
std::string libraryName(lua_State* L) {
    const int function = lua_gettop(L);
    std::string name;
    for (const char* library : {"", "table", "string", "math", "io", "os", "coroutine"}) {
        lua_pushvalue(L, LUA_GLOBALSINDEX);
        if (*library) {
            lua_pushstring(L, library);
            lua_rawget(L, -2);
            lua_remove(L, -2);
        }
        if (lua_istable(L, -1))
            name = keyOfFunction(L, function);
        lua_pop(L, 1);
        if (!name.empty())
            break;
    }
    return name;
}

std::string raisingBuiltin(lua_State* L) {
    lua_Debug call;
    if (!lua_getstack(L, 1, &call) || !lua_getinfo(L, "Sf", &call))
        return "";
    const std::string name = std::strcmp(call.what, "C") == 0 ? libraryName(L) : "";
    lua_pop(L, 1);
    return name;
}

// ---- Coroutines

bool isDead(lua_State* L, lua_State* thread) {
    return thread && thread != L && lua_status(thread) > LUA_YIELD;
}

// The dead coroutine that the value on top is, or has in a field or as upvalue; pops the value.
lua_State* popDeadThread(lua_State* L) {
    lua_State* found = nullptr;
    if (lua_isthread(L, -1) && isDead(L, lua_tothread(L, -1))) {
        found = lua_tothread(L, -1);
    } else if (lua_iscfunction(L, -1) && lua_getupvalue(L, -1, 1)) { // made by coroutine.wrap
        if (isDead(L, lua_tothread(L, -1)))
            found = lua_tothread(L, -1);
        lua_pop(L, 1);
    } else if (lua_istable(L, -1)) {
        lua_pushnil(L);
        for (int i = 0; !found && lua_next(L, -2); ++i) {
            if (isDead(L, lua_tothread(L, -1)))
                found = lua_tothread(L, -1);
            lua_pop(L, i < kFields ? 1 : 2);
            if (i >= kFields)
                break;
            if (found)
                lua_pop(L, 1);
        }
    }
    lua_pop(L, 1);
    return found;
}

lua_State* deadThreadOfCall(lua_State* L, lua_Debug& call) {
    for (int i = 1; i <= kVariables && lua_getlocal(L, &call, i); ++i)
        if (lua_State* thread = popDeadThread(L))
            return thread;
    lua_getinfo(L, "f", &call);
    lua_State* found = nullptr;
    for (int i = 1; !found && i <= kVariables && lua_getupvalue(L, -1, i); ++i)
        found = popDeadThread(L);
    if (!found) {
        lua_pushvalue(L, -1);
        found = popDeadThread(L); // a wrapped coroutine is a call itself
    }
    lua_pop(L, 1);
    return found;
}

lua_State* findDeadThread(lua_State* L) {
    lua_Debug call;
    for (int level = 1; level < kFrames && lua_getstack(L, level, &call); ++level)
        if (lua_State* thread = deadThreadOfCall(L, call))
            return thread;
    return nullptr;
}

// Whether the message begins with the frame's position, after others perhaps.
bool mentions(const std::string& message, const StackFrame& frame) {
    return message.find(frame.shortName + ":" + std::to_string(frame.line) + ":") != std::string::npos;
}

// The line in the last position of a file that a message holds; 0 without one. What passes an error on puts
// its own position before it.
int lineOf(const std::string& message, const std::string& shortName) {
    const std::size_t at = message.rfind(shortName + ":");
    return at == std::string::npos ? 0 : std::atoi(message.c_str() + at + shortName.size() + 1);
}

bool explains(const std::string& message, const std::vector<StackFrame>& frames) {
    for (const StackFrame& frame : frames)
        if (mentions(message, frame))
            return true;
    return false;
}

void addThreadFrames(lua_State* L, ErrorStack& stack) {
    lua_State* thread = findDeadThread(L);
    if (!thread)
        return;
    std::vector<StackFrame> inner;
    readFrames(thread, inner);
    if (!inner.empty() && inner.front().line == 0)
        inner.front().line = lineOf(stack.message, inner.front().shortName);
    if (!explains(stack.message, inner))
        return;
    for (StackFrame& frame : inner)
        if (frame.function.empty())
            frame.function = "a coroutine";
    stack.frames.insert(stack.frames.begin(), inner.begin(), inner.end());
    stack.builtin.clear(); // that has only passed the coroutine's error on
}

// The compiler's functions that load a file take its name as a variable argument or as their first local.
std::string compiledFile(lua_State* L) {
    lua_Debug call;
    for (int level = 1; level < kLevels && lua_getstack(L, level, &call); ++level) {
        if (!lua_getinfo(L, "S", &call) || std::strcmp(call.source, "moonscript.lua") != 0)
            continue;
        for (const int slot : {1, 2, -1}) {
            if (!lua_getlocal(L, &call, slot))
                continue;
            const std::string value = lua_type(L, -1) == LUA_TSTRING ? messageOf(L, -1) : "";
            lua_pop(L, 1);
            if (isMoonFile(value))
                return PlainPath(value);
        }
    }
    return "";
}

} // namespace

std::string PlainPath(const std::string& path) {
    return path.compare(0, 2, "./") == 0 ? path.substr(2) : path;
}

ErrorStack ReadErrorStack(lua_State* L) {
    ErrorStack stack;
    const int value = lua_gettop(L);
    stack.message = lua_istable(L, value) ? fieldMessage(L, value) : messageOf(L, value);
    stack.builtin = raisingBuiltin(L);
    readFrames(L, stack.frames);
    addThreadFrames(L, stack);
    stack.compiling = compiledFile(L);
    return stack;
}
