-- A flight around an island of noise: the height of every column comes from GetNoise, and the columns of
-- one material are merged into one mesh. N raises another island from another seed.
-- Shows: GetNoise and SetNoiseSeed, NewGeom and Place, fog and water shaders with a plain fallback.
local hud = require "hud"
local keys = require "keys"

local SIZE, STEP = 60, 0.5 -- columns in each direction, and their width
local materials = { "sand", "grass", "stone", "snow" }
local meshes, seed, eye = {}, 1, { angle = 0.5, distance = 17, height = 6 }
local held = {}
local NEW, LEFT, RIGHT, UP, DOWN = 1, 2, 3, 4, 5
local SKY = { 0.62, 0.75, 0.88 }

-- Ground height at a column: four octaves of noise, sinking towards the edge of the map.
local function height(column, row)
  local x, y = column / SIZE - 0.5, row / SIZE - 0.5
  local sum, weight, scale = 0, 1, 3
  for octave = 1, 4 do
    sum = sum + weight * GetNoise(x * scale, y * scale, octave * 7.3)
    weight, scale = weight * 0.5, scale * 2
  end
  local shore = 1 - 4.5 * (x * x + y * y)
  local h = (0.5 + 2.7 * sum) * 3 * shore - 0.35
  if h > 0.8 then h = 0.8 + (h - 0.8) ^ 1.5 end -- flat coasts, steep mountains
  return math.floor(h * 4) / 4 + 0.1 -- in terraces, none of them level with the water
end

local function material(h, slope)
  if h < 0.3 then return "sand" end
  if h > 3 then return "snow" end
  return (slope > 0.8 or h > 2.2) and "stone" or "grass"
end

local function place(name, mesh, x, y, z, sx, sz)
  GPush()
  GMove(x, y, z)
  GScale(sx, sx, sz)
  Place(name, mesh)
  GPop()
end

-- Meshes are never given back, so every new island takes some more memory.
local function raise()
  SetNoiseSeed(seed)
  math.randomseed(seed)
  for _, name in ipairs { "sand", "grass", "stone", "snow", "trunks", "crowns" } do meshes[name] = NewGeom() end
  GReset()
  TReset()
  for row = 1, SIZE do
    for column = 1, SIZE do
      local h = height(column, row)
      local slope = math.abs(h - height(column + 1, row)) + math.abs(h - height(column, row + 1))
      local x, y = (column - SIZE / 2) * STEP, (row - SIZE / 2) * STEP
      if h > -0.8 then
        local name = material(h, slope)
        place("block", meshes[name], x, y, -0.8, STEP, h + 0.8)
        if name == "grass" and h > 0.4 and math.random() < 0.12 then
          local size = 0.35 + 0.3 * math.random()
          place("trunk", meshes.trunks, x, y, h, size, size)
          place("crown", meshes.crowns, x, y, h, size, size)
        end
      end
    end
  end
end

local function declare(shader, ...)
  AddShad("shaders/" .. shader .. ".shad")
  Shad(shader)
  for i, name in ipairs { ... } do DeclareUniform(i - 1, name) end
  Shad(-1)
end

function Init()
  hud.load()
  for _, name in ipairs { "sand", "grass", "stone", "snow", "leaves", "wood", "water", "sky" } do
    AddTex("textures/" .. name .. ".png")
  end
  for _, name in ipairs { "blocks", "tree", "grid", "sphere" } do AddGeom("geom/" .. name .. ".obj") end
  NewGeom("water") -- the grid with its texture repeated
  TScale(24)
  Place("grid", "water")
  declare("fog", "near", "far", "red", "green", "blue")
  declare("waves", "time", "height")
  raise()
  BackColor(SKY[1], SKY[2], SKY[3], 1)
  SetAmbientColor(0.42, 0.44, 0.5)
  SetLightColor(0, 0.75, 0.7, 0.6)
  SetLightColor(1, 0, 0, 0)
  for key, name in pairs { [NEW] = "N", [LEFT] = "Left", [RIGHT] = "Right", [UP] = "Up", [DOWN] = "Down" } do
    BindKey(key, keys[name])
  end
end

function KeyHappen(key, state)
  held[key] = state > 0
  if key == NEW and state == 1 then
    seed = seed + 1
    raise()
  end
end

local function fly(delta)
  local function axis(plus, minus) return (held[plus] and 1 or 0) - (held[minus] and 1 or 0) end
  eye.angle = eye.angle + (0.1 + axis(RIGHT, LEFT)) * delta
  eye.height = math.max(1.2, math.min(14, eye.height + axis(UP, DOWN) * 5 * delta))
  local r = eye.distance
  LookAt(r * math.sin(eye.angle), -r * math.cos(eye.angle), eye.height, 0, 0, 0.5)
end

local function drawMesh(texture, name)
  Tex(texture)
  Geom(meshes[name])
end

function Draw(time, delta)
  SetCam(3, 55)
  fly(delta)
  SetLighting(0)
  Culling(0)
  Depth(0)
  Color(1)
  Tex("sky")
  Push()
  Scale(90, 90, 70)
  Geom("sphere")
  Pop()

  Depth(1)
  SetLight(0, 30, -25, 40)
  Shad("fog")
  for i, value in ipairs { 14, 42, SKY[1], SKY[2], SKY[3] } do Uniform(i - 1, value) end
  for _, name in ipairs(materials) do drawMesh(name, name) end
  drawMesh("wood", "trunks")
  drawMesh("leaves", "crowns")
  Shad(-1)

  Blend(0)
  Tex("water")
  Color(0.75, 0.95, 1, 0.8)
  if GetShadersEnabled() == 0 then SetLighting(0) end
  Shad("waves")
  Uniform(0, time)
  Uniform(1, 0.02)
  Push()
  Scale(60, 60, 2)
  Geom("water")
  Pop()
  Shad(-1)
  hud.help("Island " .. seed, "N: another island\nLeft, Right, Up, Down: fly")
end
