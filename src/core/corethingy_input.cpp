// The engine object's input: raw key codes, bindings, key repeat, typing mode and the pointer.
#include "corethingy.h"

#include <SFML/Window/Mouse.hpp>
#include <algorithm>
#include <iterator>

namespace {

bool isKeyCode(int key) {
    return key >= 0 && key < KEY_CODE_COUNT;
}

bool isWheelCode(int key) {
    return key == KEY_WHEEL_UP || key == KEY_WHEEL_DOWN;
}

} // namespace

KeyState::KeyState() {
    std::fill(std::begin(keyDown), std::end(keyDown), false);
}

void KeyState::SetDefaults() {
    std::fill(std::begin(bindings), std::end(bindings), KEY_UNBOUND);
}

// ---- Settings ----

void CoreThingy::SetKeyBind(int code, int key, bool keepOthers) {
    if (!isKeyCode(key))
        return;
    int* bindings = input.keys.bindings;
    if (!keepOthers)
        std::replace(bindings, bindings + KEY_CODE_COUNT, code, KEY_UNBOUND);
    bindings[key] = code;
}

void CoreThingy::SetTypingMode(int mode) {
    typingMode = mode;
}

void CoreThingy::SetMouseState(int visible, int locked) {
    if (visible >= 0) {
        mouseVisible = visible != 0;
        window.setMouseCursorVisible(mouseVisible);
    }
    if (locked >= 0)
        mouseLocked = locked != 0;
}

// ---- Keys ----

int CoreThingy::privGameCode(int key) const {
    return typingMode != 0 ? key : input.keys.bindings[key];
}

void CoreThingy::KeyHappen(int key, bool down) {
    if (!isKeyCode(key))
        return;
    const int code = privGameCode(key);
    if (code < 0)
        return;
    bool& held = input.keys.keyDown[key];
    if (held == down)
        return; // the system's own repetition of a held key
    if (repeatKey == -1 && down && !isWheelCode(key)) {
        repeatKey = key;
        nextRepeatTime = clockTime + repeatDelay;
    } else if (repeatKey == key && !down) {
        repeatKey = -1;
    }
    GameKeyHappen(code, down ? GAMEKEY_PRESSED : GAMEKEY_RELEASED);
    if (!isWheelCode(key))
        held = down;
}

void CoreThingy::GameKeyHappen(int, int) {}

void CoreThingy::KeyTyped(int) {}

int CoreThingy::privHandleKey(int key, bool down) {
    if (down)
        KeyTyped(key);
    KeyHappen(key, down);
    return key == KEY_ESCAPE ? -1 : 0;
}

void CoreThingy::privHandleMousePress(int button, bool down) {
    if (button >= 0 && button < MOUSE_BUTTON_COUNT)
        KeyHappen(KEY_FIRST_MOUSE + button, down);
}

void CoreThingy::privHandleMouseScroll(int delta) {
    KeyHappen(delta == -1 ? KEY_WHEEL_DOWN : KEY_WHEEL_UP, true);
}

// One repeat per frame at most; the deadline advances by the interval, so late frames do not slow it down.
void CoreThingy::privRepeatKey() {
    if (repeatKey == -1 || clockTime < nextRepeatTime)
        return;
    nextRepeatTime += repeatInterval;
    GameKeyHappen(privGameCode(repeatKey), GAMEKEY_REPEATED);
}

// ---- Events and pointer ----

bool CoreThingy::privNextEvent() {
    return seams.events ? seams.events->Poll(window, event) : window.pollEvent(event);
}

sf::Vector2i CoreThingy::privPointer() const {
    return seams.events ? seams.events->PointerPosition(window) : sf::Mouse::getPosition(window);
}

void CoreThingy::privMovePointer(const sf::Vector2i& position) {
    if (seams.events)
        seams.events->SetPointerPosition(position, window);
    else
        sf::Mouse::setPosition(position, window);
}

sf::Vector2i CoreThingy::privWindowCentre() const {
    return {width / 2, height / 2};
}

void CoreThingy::privHandleMouseMotion() {
    if (mouseRecentred)
        return;
    const sf::Vector2i position = privPointer();
    sf::Vector2i motion(0, 0);
    if (mouseLocked) {
        const sf::Vector2i centre = privWindowCentre();
        motion = position - centre;
        privMovePointer(centre);
        mouseRecentred = true;
    }
    privHandleMouseMove(position.x, position.y, motion.x, motion.y);
}

void CoreThingy::privHandleMouseMove(int x, int y, int dx, int dy) {
    if (gameTime < 0.001f)
        return; // the first frames only bring the jump to the centre
    mouseX = static_cast<float>(x) / static_cast<float>(width);
    mouseY = static_cast<float>(y) / static_cast<float>(height);
    mouseRelX = static_cast<float>(dx) * mouseScalar * mouseNorm;
    mouseRelY = static_cast<float>(-dy) * mouseScalar * mouseNorm;
    mouseTotalX += mouseRelX;
    mouseTotalY += mouseRelY;
}
