-- A gallery of the engine's own meshes on a turntable, lit by two moving lights.
-- Shows: loading meshes and textures, items by name, by number and by group, lights, culling, the camera.
local hud = require "hud"
local keys = require "keys"

local exhibits = {
  -- title, how to draw it, texture, scale
  { "sphere", function() Geom("sphere") end, "planet", 0.9 },
  { "torus", function() Geom("torus") end, "brick", 1.1 },
  { "knot", function() Geom("knot") end, "metal", 1.2 },
  { "gem", function() Geom("gem") end, "water", 1.2 },
  { "rocket", function() Geom("rocket") end, "metal", 1.1 },
  { "tree", function()
    Geom("tree", "crown")
    Tex("wood")
    Geom("tree", "trunk")
  end, "leaves", 1.1 },
  { "chess pieces", function()
    for i = 0, 4 do -- the five objects of one file, by their number in the group
      Push()
      Move((i - 2) * 0.62, 0, -0.6)
      Geom("chess", i)
      Pop()
    end
  end, "wood", 0.9 },
  { "ship", function() Geom("ship") end, "checker", 1.2 },
  { "hills", function() Geom("terrain") end, "grass", 1 },
  { "cube", function() Geom("cube") end, "stone", 0.75 },
}

local selected, shown = 0, 0
local lighting, culling = 1, 1
local LEFT, RIGHT, LIGHT, CULL = 1, 2, 3, 4

function Init()
  hud.load()
  for _, name in ipairs { "planet", "brick", "metal", "water", "leaves", "wood", "checker", "grass", "stone", "particle" } do
    AddTex("textures/" .. name .. ".png")
  end
  for _, name in ipairs { "sphere", "torus", "knot", "gem", "rocket", "ship", "terrain", "cube", "grid" } do
    AddGeom("geom/" .. name .. ".obj")
  end
  AddGeom("geom/tree.obj", "tree")
  AddGeom("geom/pieces.obj", "chess")
  BackColor(0.05, 0.06, 0.09, 1)
  SetAmbientColor(0.18, 0.18, 0.22)
  SetLightColor(0, 1, 0.95, 0.85)
  SetLightAtten(0, 1, 0, 0.006)
  SetLightColor(1, 0.3, 0.45, 0.9)
  SetLightAtten(1, 1, 0, 0.02)
  BindKey(LEFT, keys.Left)
  BindKey(RIGHT, keys.Right)
  BindKey(RIGHT, keys.MouseLeft, 1) -- a second input for the same game key
  BindKey(LIGHT, keys.L)
  BindKey(CULL, keys.C)
end

function KeyHappen(key, state)
  if state == 0 then return end
  if key == LEFT then selected = selected - 1 end
  if key == RIGHT then selected = selected + 1 end
  if key == LIGHT then lighting = 1 - lighting end
  if key == CULL then culling = 1 - culling end
end

local function lamp(light, x, y, z)
  SetLight(light, x, y, z) -- placed after the camera: the position goes through the current matrix
  return { x, y, z }
end

function Draw(time, delta)
  local step = 2 / #exhibits
  shown = shown + (selected - shown) * math.min(1, delta * 6)
  SetCam(3, 45)
  LookAt(0, -13, 3.6, 0, 0, 0)
  local lamps = {
    lamp(0, 3 * math.sin(time * 0.7), -6, 4),
    lamp(1, -4 * math.cos(time * 0.9), -5.5, 1.5),
  }
  SetLighting(lighting)
  Culling(culling)
  Depth(1)
  Color(0.5)
  Tex("wood")
  Push()
  Move(0, 0, -1.3)
  Rotate(-shown * step)
  Scale(8, 8, 1)
  Geom("grid")
  Pop()
  for i, exhibit in ipairs(exhibits) do
    Push()
    Rotate((i - 1 - shown) * step)
    Move(0, -5, 0)
    Rotate(1, 0, 0, 0.06)
    Rotate(time * 0.2)
    Scale(exhibit[4])
    Tex(exhibit[3])
    Color(1)
    exhibit[2]()
    Pop()
  end
  SetLighting(0)
  Culling(0)
  Blend(1)
  Depth(1, 0)
  Tex("particle")
  for i, at in ipairs(lamps) do
    Push()
    Move(at[1], at[2], at[3])
    Rotate(1, 0, 0, 0.5)
    Scale(0.5)
    if i == 1 then Color(1, 0.9, 0.6) else Color(0.4, 0.6, 1) end
    Quad()
    Pop()
  end
  hud.help("Gallery", "Left, Right or click: next mesh\nL: lighting   C: culling")
  hud.print(exhibits[selected % #exhibits + 1][1], 0, -0.88, 0.13, 0)
end
