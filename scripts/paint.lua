-- A paint box: every stroke is merged into one mesh per colour, so that a picture of thousands of dabs is
-- drawn with a few calls. F12 saves the window as a picture.
-- Shows: pointer modes, GetMouseScalar, a mesh that grows, the screen capture key, the engine's paths.
local hud = require "hud"
local keys = require "keys"
local palette = require "palette"

local COLOURS = 9
local layers = {} -- one mesh per colour
local current, size, drawing, last = 4, 0.03, false, nil
local DRAW, BIGGER, SMALLER, NEXT, VSYNC = 1, 2, 3, 4, 5
local CAPTURE = 35 -- the engine captures the screen when a key with this number is pressed
local vsync = 0

local function colour(i)
  if i == COLOURS then return 0.05, 0.05, 0.06 end
  return palette.hsv(i / (COLOURS - 1), 0.8, 0.95)
end

function Init()
  hud.load()
  hud.ink, hud.shadow = { 0.15, 0.15, 0.25, 1 }, { 1, 1, 1, 0.5 } -- dark letters on paper
  AddTex("textures/particle.png")
  AddGeom("geom/blocks.obj", "shapes")
  for i = 1, COLOURS do layers[i] = NewGeom("paint", "layer" .. i) end
  SetMouseFree(1)
  SetMouseVis(0) -- the brush is the pointer
  SetScreenshotDir("screenshots")
  BackColor(0.95, 0.94, 0.9, 1)
  BindKey(DRAW, keys.MouseLeft)
  BindKey(BIGGER, keys.WheelUp)
  BindKey(BIGGER, keys.Up, 1)
  BindKey(SMALLER, keys.WheelDown)
  BindKey(SMALLER, keys.Down, 1)
  BindKey(NEXT, keys.Space)
  BindKey(NEXT, keys.MouseRight, 1)
  BindKey(VSYNC, keys.V)
  BindKey(CAPTURE, keys.F12)
end

function KeyHappen(key, state)
  if key == DRAW then drawing, last = state > 0, nil end
  if state == 0 then return end
  if key == BIGGER then size = math.min(0.3, size * 1.2) end
  if key == SMALLER then size = math.max(0.008, size / 1.2) end
  if key == NEXT then current = current % COLOURS + 1 end
  if key == VSYNC then
    vsync = 1 - vsync
    SetVSync(vsync) -- takes effect in full screen
  end
end

-- A dab of paint: the round face of a flat cylinder.
local function dab(x, y)
  GReset()
  GMove(x, y, 0)
  GScale(size * 2, size * 2, 0.001)
  Place("shapes", "column", layers[current])
end

local function stroke(x, y)
  local from = last or { x, y }
  local way = math.sqrt((x - from[1]) ^ 2 + (y - from[2]) ^ 2)
  local dabs = math.ceil(way / (size * 0.5))
  if not last then dab(x, y) end
  for i = 1, dabs do
    dab(from[1] + (x - from[1]) * i / dabs, from[2] + (y - from[2]) * i / dabs)
  end
  last = { x, y }
end

local function swatches(x, y)
  for i = 1, COLOURS do
    local sx, sy = -hud.right + 0.1, 0.4 - i * 0.13
    if drawing and math.abs(x - sx) < 0.05 and math.abs(y - sy) < 0.06 then current, last = i, nil end
    Color(colour(i))
    hud.box(sx, sy, i == current and 0.07 or 0.05, 0.055)
  end
end

function Draw(time)
  hud.start()
  local x, y = GetMouseScalar()
  if drawing and x > -hud.right + 0.2 then stroke(x, y) end
  for i = 1, COLOURS do
    Color(colour(i))
    Geom("paint", "layer" .. i)
  end
  swatches(x, y)
  Tex(-1)
  local r, g, b = colour(current)
  Color(r, g, b, 0.6 + 0.2 * math.sin(time * 5))
  Push()
  Move(x, y)
  Scale(size * 2, size * 2, 0.001)
  Geom("shapes", "column")
  Pop()
  hud.help("Paint", "left button: paint   wheel: size   right button or Space: next colour\nF12: save a picture")
  hud.print("scripts in " .. GetScriptsPath() .. ", content in " .. GetMediaPath(), hud.right - 0.06, -0.93, 0.05, -1)
end
