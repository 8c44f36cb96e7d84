// Seams: the few places where a program around the engine may put itself between the engine and the outside
// world. CoreThingy has one Seams; the objects behind its pointers stay their makers'.
#pragma once

#include <SFML/System/Vector2.hpp>
#include <cstdint>

namespace sf {
class Event;
class Window;
} // namespace sf
class DataBlock;
struct lua_State;

// All pointers are null in the engine program: the clock is the system's, events and the pointer come from
// the window, saves are files, and nobody but standard output hears of errors. Each seam then costs one
// comparison where it is passed. Set them after construction and before the window opens, and leave them
// until the engine object dies.

/// Replaces the frame clock.
class FrameClock {
public:
    virtual ~FrameClock() = default;
    /// @return nanoseconds since the engine object was made; never less than before
    virtual std::int64_t Now() = 0;
    /// Returns when Now() has reached the deadline, once in each limited frame.
    virtual void WaitUntil(std::int64_t deadline) = 0;
};

/// Replaces the window's events and the pointer.
class EventSource {
public:
    virtual ~EventSource() = default;
    /// Takes the next event of this frame. Called until it returns false, in each frame.
    virtual bool Poll(sf::Window& window, sf::Event& event) = 0;
    /// @return pixels from the window's upper left corner
    virtual sf::Vector2i PointerPosition(const sf::Window& window) = 0;
    virtual void SetPointerPosition(const sf::Vector2i& position, const sf::Window& window) = 0;
};

/// Replaces the files of saved strings; the operations are those of SaveManager.
class SaveStore {
public:
    virtual ~SaveStore() = default;
    virtual void Load(const char* key, DataBlock* data) = 0;
    virtual void Save(const char* key, DataBlock* data) = 0;
};

/// What a script was doing when it failed.
enum class ScriptStage { Load, Init, Draw, KeyHappen };

/// Hears of errors beside the lines that the engine prints.
class ErrorSink {
public:
    virtual ~ErrorSink() = default;
    /// A script has raised an error: the value lies on top of the stack, and the stack is still that of the
    /// place where it was raised, unless an overflow of the stack has left no room for this call there. Must
    /// leave the stack as it is and must not raise. Called before the engine prints.
    virtual void ScriptError(lua_State* L, ScriptStage stage) = 0;
    /// The frame before has left this error code of OpenGL.
    virtual void OpenGLError(unsigned code) = 0;
};

/// Hears of the calls of a script's functions.
class CallObserver {
public:
    virtual ~CallObserver() = default;
    /// @param name "Init", "Draw", "KeyHappen", "OnError", or "main chunk" for the script's file
    virtual void CallBegins(const char* name) = 0;
    /// The call has returned or failed.
    virtual void CallEnded(const char* name) = 0;
};

/// See the top of this file.
struct Seams {
    FrameClock* clock = nullptr;
    EventSource* events = nullptr;
    SaveStore* saves = nullptr;
    ErrorSink* errors = nullptr;
    CallObserver* calls = nullptr;
};
