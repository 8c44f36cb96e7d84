-- keys: names for the raw key codes that BindKey takes, for example keys.Space or keys.A.
local names = [[
A B C D E F G H I J K L M N O P Q R S T U V W X Y Z
Num0 Num1 Num2 Num3 Num4 Num5 Num6 Num7 Num8 Num9
Escape LControl LShift LAlt LSystem RControl RShift RAlt RSystem Menu
LBracket RBracket Semicolon Comma Period Quote Slash Backslash Tilde Equal Dash
Space Return Back Tab PageUp PageDown End Home Insert Delete
Add Subtract Multiply Divide Left Right Up Down
Pad0 Pad1 Pad2 Pad3 Pad4 Pad5 Pad6 Pad7 Pad8 Pad9
F1 F2 F3 F4 F5 F6 F7 F8 F9 F10 F11 F12 F13 F14 F15 Pause
MouseLeft MouseRight MouseMiddle MouseExtra1 MouseExtra2 WheelUp WheelDown]]

local keys = {}
local code = 0
for name in names:gmatch("%S+") do
  keys[name] = code
  code = code + 1
end
return keys
