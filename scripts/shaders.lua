-- One object, many surfaces: every lit shader of media/shaders, with its uniform at your fingertips.
-- Shows: loading shaders, declaring and setting uniforms, switching shaders off and on.
local hud = require "hud"
local keys = require "keys"
local orbit = require "lib.orbit"

-- Each uniform: name, value (a function of the time for "time"), lowest, highest.
local surfaces = {
  { shader = "phong", texture = "metal", mesh = "knot", color = { 1, 1, 1 }, { "gloss", 40, 4, 120 } },
  { shader = "toon", texture = "white", mesh = "rocket", color = { 1, 0.5, 0.3 }, { "steps", 4, 2, 9 } },
  { shader = "rim", texture = "white", mesh = "knot", color = { 0.3, 0.7, 1 }, { "sharpness", 2, 0.5, 6 }, { "time" } },
  { shader = "marble", texture = "white", mesh = "torus", color = { 1, 0.97, 0.9 }, { "scale", 1.6, 0.3, 5 } },
  { shader = "waves", texture = "water", mesh = "grid", color = { 1, 1, 1 }, { "height", 0.06, 0, 0.2 }, { "time" } },
  { shader = "fog", texture = "grass", mesh = "terrain", color = { 1, 1, 1 }, { "far", 4.4, 3, 8 },
    { "near", 2.4 }, { "red", 0.1 }, { "green", 0.12 }, { "blue", 0.16 } },
}
local current = 1
local PREVIOUS, NEXT, MORE, LESS, TOGGLE = 1, 2, 3, 4, 5

-- Uniforms belong to the bound shader and are numbered from 0 in the order of their declaration.
local function declare(surface)
  Shad(surface.shader)
  for i, uniform in ipairs(surface) do
    DeclareUniform(i - 1, uniform[1])
  end
  Shad(-1)
end

local function setUniforms(surface, time)
  for i, uniform in ipairs(surface) do
    Uniform(i - 1, uniform[2] or time)
  end
end

local plasma = { shader = "plasma", { "time" } }
local declared = false

local function declareAll()
  if declared or GetShadersEnabled() == 0 then return end
  declared = true
  declare(plasma)
  for _, surface in ipairs(surfaces) do declare(surface) end
end

function Init()
  hud.load()
  AddShad("shaders/plasma.shad")
  for _, surface in ipairs(surfaces) do
    AddShad("shaders/" .. surface.shader .. ".shad")
    AddTex("textures/" .. surface.texture .. ".png")
    AddGeom("geom/" .. surface.mesh .. ".obj")
  end
  declareAll()
  SetAmbientColor(0.15, 0.15, 0.2)
  SetLightColor(0, 1, 0.95, 0.9)
  SetLightColor(1, 0.25, 0.3, 0.5)
  BindKey(PREVIOUS, keys.Left)
  BindKey(NEXT, keys.Right)
  BindKey(MORE, keys.Up)
  BindKey(LESS, keys.Down)
  BindKey(TOGGLE, keys.S)
end

function KeyHappen(key, state)
  if state == 0 then return end
  if key == PREVIOUS then current = (current - 2) % #surfaces + 1 end
  if key == NEXT then current = current % #surfaces + 1 end
  if key == TOGGLE then
    Shad(-1)
    SetShadersEnabled(1 - GetShadersEnabled())
    declareAll()
  end
  local knob = surfaces[current][1]
  local step = (knob[4] - knob[3]) / 20
  if key == MORE then knob[2] = math.min(knob[4], knob[2] + step) end
  if key == LESS then knob[2] = math.max(knob[3], knob[2] - step) end
end

function Draw(time)
  hud.start() -- the backdrop first, flat and without depth
  Shad("plasma")
  Uniform(0, time * 0.3)
  Color(0.35)
  hud.box(0, 0, hud.right, 1)
  Shad(-1)

  local surface = surfaces[current]
  SetCam(3, 45)
  orbit.look(0, 0, 0, 3.6, time)
  SetLight(0, 4, -4, 5)
  SetLight(1, -4, 2, -3)
  Depth(1)
  Blend(0)
  Tex(surface.texture)
  Color(surface.color[1], surface.color[2], surface.color[3])
  Shad(surface.shader)
  setUniforms(surface, time)
  Geom(surface.mesh)
  Shad(-1)

  local knob = surface[1]
  local state = GetShadersEnabled() == 1 and "" or "   (shaders are off)"
  hud.help("Shaders", "Left, Right: next shader   mouse: look around\nUp, Down: " .. knob[1] .. "   S: shaders on and off")
  hud.print(("%s.shad   %s %.2f%s"):format(surface.shader, knob[1], knob[2], state), 0, -0.86, 0.09, 0)
end
