-- A typewriter: letters as keys, with Shift, Return and Backspace that repeat while held. A click freezes
-- the keyboard: in typing mode no key press arrives, and mouse buttons come with their raw codes.
-- Shows: binding many keys, key repeat, TypingMode.
hud = require "hud"
keys = require "keys"

SHIFT, RETURN, BACK, CLICK = 1, 2, 3, 4
FIRST = 200 -- game keys from here on are characters

-- What each key writes, plain and with Shift.
signs = {
  {"Space", " ", " "}, {"Comma", ",", "<"}, {"Period", ".", ">"}, {"Slash", "/", "?"}, {"Semicolon", ";", ":"}
  {"Quote", "'", '"'}, {"LBracket", "[", "{"}, {"RBracket", "]", "}"}, {"Dash", "-", "_"}, {"Equal", "=", "+"}
}
for code = string.byte("A"), string.byte "Z"
  letter = string.char code
  table.insert signs, {letter, letter\lower!, letter}
shifted = ")!@#$%^&*("
for digit = 0, 9
  table.insert signs, {"Num#{digit}", tostring(digit), shifted\sub digit + 1, digit + 1}

lines = {"Type something."}
shift, frozen, carriage, rawCode = false, false, 0, nil
WIDTH, HEIGHT = 34, 9 -- characters in a line, lines on the paper

export Init = ->
  hud.load!
  AddTex "textures/wood.png"
  AddAudio "sounds/click.wav"
  AddAudio "sounds/bell.wav"
  BackColor 0.1, 0.07, 0.05, 1
  BindKey FIRST + i, keys[sign[1]] for i, sign in ipairs signs
  BindKey SHIFT, keys.LShift
  BindKey SHIFT, keys.RShift, 1
  BindKey RETURN, keys.Return
  BindKey BACK, keys.Back
  BindKey CLICK, keys.MouseLeft

newLine = ->
  table.insert lines, ""
  table.remove lines, 1 if #lines > HEIGHT
  carriage = 1
  AudioProps Audio("bell"), 0.3, 1.5

write = (text) ->
  newLine! if #lines[#lines] >= WIDTH
  lines[#lines] ..= text
  AudioProps Audio("click"), 0.8, 0.9 + 0.2 * math.random!

erase = ->
  line = lines[#lines]
  if #line > 0
    lines[#lines] = line\sub 1, -2
  elseif #lines > 1
    table.remove lines

export KeyHappen = (key, state) ->
  if frozen
    rawCode = key
    if key == keys.MouseLeft and state == 1
      frozen = false
      TypingMode 0
    return
  switch key
    when SHIFT then shift = state > 0
    when CLICK
      if state == 1
        frozen, shift = true, false
        TypingMode 1
    when RETURN then newLine! if state > 0
    when BACK then erase! if state > 0
    else
      sign = signs[key - FIRST]
      write sign[shift and 3 or 2] if sign and state > 0

paper = (time) ->
  slide = 0.06 * carriage * math.sin 30 * carriage
  Tex -1
  Color 0.97, 0.95, 0.88
  hud.box slide, -0.08, 0.98, 0.66
  Color 0.85, 0.6, 0.6
  DrawLine -0.88 + slide, -0.74, 0, -0.88 + slide, 0.58, 0
  Push!
  Move -0.84 + slide, 0.48 - 0.049 * (#lines - 1)
  Scale 0.13
  Color 0.1, 0.12, 0.3
  cursor = time % 0.8 < 0.5 and not frozen and "_" or ""
  Text table.concat(lines, "\n") .. cursor
  Pop!

export Draw = (time, delta) ->
  carriage = math.max 0, carriage - 2.5 * delta
  hud.start!
  Tex "wood"
  Color 0.6
  hud.box 0, 0, hud.right, hud.right
  paper time
  hud.help "Typewriter", "Type. Hold a key to repeat it.   Click: freeze the keyboard"
  if frozen
    hud.print "Typing mode: key presses are held back. Click to go on. Last code: #{rawCode or 'none'}", 0, -0.87, 0.07, 0
