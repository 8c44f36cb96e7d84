-- A scene is drawn into a texture; the texture is then shown through a post-process shader, or as a
-- postcard that tumbles in space.
-- Shows: BeginRTTFull and EndRTTFull, post-process shaders, one picture used as part of another.
local hud = require "hud"
local keys = require "keys"

local effects = {
  { title = "no effect" },
  { title = "lens", shader = "lens", { "time" }, { "amount", 1 } },
  { title = "television", shader = "screen", { "time" }, { "lines", 160 } },
  { title = "ink", shader = "ink", dark = true, { "width", 1024 }, { "height", 768 } },
}
local current, tumbling = 2, 0
local PREVIOUS, NEXT, TUMBLE = 1, 2, 3

function Init()
  hud.load()
  for _, name in ipairs { "sky", "grass", "leaves", "wood", "checker" } do AddTex("textures/" .. name .. ".png") end
  for _, name in ipairs { "terrain", "sphere", "tree", "torus", "rocket" } do AddGeom("geom/" .. name .. ".obj") end
  local width, height = GetWindowSize()
  for _, effect in ipairs(effects) do
    if effect.shader then
      AddShad("shaders/" .. effect.shader .. ".shad")
      Shad(effect.shader)
      for i, uniform in ipairs(effect) do DeclareUniform(i - 1, uniform[1]) end
      Shad(-1)
    end
  end
  effects[4][1][2], effects[4][2][2] = width, height
  SetAmbientColor(0.4, 0.4, 0.45)
  SetLightColor(0, 0.9, 0.85, 0.7)
  BindKey(PREVIOUS, keys.Left)
  BindKey(NEXT, keys.Right)
  BindKey(TUMBLE, keys.Space)
end

function KeyHappen(key, state)
  if state == 0 then return end
  if key == PREVIOUS then current = (current - 2) % #effects + 1 end
  if key == NEXT then current = current % #effects + 1 end
  if key == TUMBLE then tumbling = 1 - tumbling end
end

local function tree(x, y, size)
  Push()
  Move(x, y, -0.1)
  Scale(size)
  Tex("wood")
  Geom("trunk")
  Tex("leaves")
  Geom("crown")
  Pop()
end

local function scene(time)
  SetCam(3, 60)
  LookAt(4.5 * math.sin(time * 0.2), -5 + math.cos(time * 0.2), 1.8, 0, 0, 0.9)
  Culling(0)
  SetLighting(0)
  Depth(0)
  Blend(0)
  Color(1)
  Tex("sky")
  Push()
  Scale(30, 30, 30)
  Geom("sphere")
  Pop()
  Depth(1)
  SetLight(0, -8, -9, 9)
  Tex("grass")
  Push()
  Scale(8, 8, 1.5)
  Geom("terrain")
  Pop()
  for i = 1, 12 do
    local angle = i * 0.55
    tree((2.4 + i % 3) * math.sin(angle), (2.4 + i % 3) * math.cos(angle), 0.7 + 0.2 * (i % 4))
  end
  Push()
  Move(0, 0, 1.3 + 0.3 * math.sin(time))
  Rotate(time * 0.3)
  Rotate(1, 0, 0, 0.12)
  Tex("checker")
  Color(1, 0.7, 0.5)
  Geom("rocket")
  Pop()
end

function Draw(time)
  BeginRTTFull() -- from here on everything lands in the texture
  scene(time)

  SetLighting(0)
  Color(1)
  if tumbling == 1 then
    SetCam(3, 60)
    LookAt(0, -3.2, 0, 0, 0, 0)
    Rotate(1, 0, 0, 0.5)
    Rotate(0, 1, 0, 0.2 * math.sin(time * 0.7))
    Rotate(0.1 * math.sin(time * 0.9))
    Scale(4 / 3, 1, 1)
  else
    SetCam(2, 0) -- the picture covers -1 to 1
    Depth(0)
  end
  Scale(1, -1, 1) -- textures are stored top row first, the rendered picture is not
  local effect = effects[current]
  if effect.shader then
    Shad(effect.shader)
    for i, uniform in ipairs(effect) do Uniform(i - 1, uniform[2] or time) end
  end
  EndRTTFull() -- back to the window, and draws the picture with the current matrices and shader
  Shad(-1)
  BackColor(0.1, 0.08, 0.12, 1) -- for the next frame: BeginRTTFull has set it to black
  hud.ink = effect.dark and { 0.1, 0.1, 0.2, 1 } or { 1, 1, 1, 1 }
  hud.shadow = effect.dark and { 1, 1, 1, 0.6 } or { 0, 0, 0, 0.7 }
  hud.help("Postcard", "Left, Right: effect   Space: a picture in space")
  hud.print(effects[current].title, 0, -0.88, 0.1, 0)
end
