-- A town at night that is built in Init: hundreds of blocks are merged into three meshes, one per texture.
-- Shows: NewGeom and Place, the geometry and texture-coordinate stacks, free flight with mouse and keys.
local hud = require "hud"
local keys = require "keys"

local SIZE = 9 -- blocks of houses in each direction
local roofs, ground -- the merged meshes; the third goes by its name, "walls"
local held = {}
local eye = { x = -9, y = -14, z = 4.2, turn = 0.55, tilt = -0.16 }
local FORWARD, BACK, LEFT, RIGHT, UP, DOWN = 1, 2, 3, 4, 5, 6

-- A house of the given size at the origin of the geometry stack. The texture stack repeats the windows,
-- so that they have the same size on every house.
local function house(width, depth, height)
  TPush()
  TMove(math.random(0, 7) / 8, math.random(0, 7) / 8)
  TScale(math.ceil(width * 4) / 8, math.ceil(height * 4) / 8)
  GPush()
  GScale(width, depth, height)
  Place("block", "walls") -- both by name, in the default group
  GPop()
  TPop()
  GPush()
  GMove(0, 0, height)
  GScale(width + 0.1, depth + 0.1, math.min(0.6, width))
  if height > 1.4 then GScale(1, 1, 0.1) end -- towers are flat on top
  local shape = height > 1.4 and "block" or math.random() < 0.5 and "roof" or "pyramid"
  Place(shape, roofs)
  GPop()
end

local function park()
  TPush()
  TRotate(0, 0, 1, math.pi / 4) -- radians here: the grass lies diagonally
  TScale(2)
  GPush()
  GScale(1.8, 1.8, 0.03)
  Place("", "block", ground)
  GPop()
  TPop()
  for _ = 1, 12 do
    GPush()
    GRotate(math.random() * 2)
    GMove(math.random() * 0.75, 0, 0)
    GScale(0.2 + 0.3 * math.random())
    Place("", "cone", ground)
    GPop()
  end
end

local function build()
  NewGeom("walls")
  roofs = NewGeom("", "roofs")
  ground = NewGeom()
  GReset()
  TReset()
  math.randomseed(7)
  for row = 1, SIZE do
    for column = 1, SIZE do
      GPush()
      GMove((column - (SIZE + 1) / 2) * 2.3, (row - (SIZE + 1) / 2) * 2.3)
      local centre = math.abs(column - 5) + math.abs(row - 5)
      if (column * 7 + row * 3) % 11 == 0 then
        park()
      else
        GRotate(math.random(0, 3) * 0.5)
        house(1.2 + 0.5 * math.random(), 1.2 + 0.5 * math.random(), 0.6 + 7 * math.random() ^ 2 / (1 + centre * 0.3))
      end
      GPop()
    end
  end
end

function Init()
  hud.load()
  for _, name in ipairs { "facade", "brick", "grass", "stars", "particle" } do AddTex("textures/" .. name .. ".png") end
  AddGeom("geom/blocks.obj")
  AddGeom("geom/sphere.obj")
  NewGeom("sky") -- the sphere with the star texture repeated over it
  TScale(10, 5)
  Place("sphere", "sky")
  build()
  SetAmbientColor(0.3, 0.3, 0.38)
  SetLightColor(0, 0.5, 0.55, 0.75)
  local bound = { [FORWARD] = { "W", "Up" }, [BACK] = { "S", "Down" }, [LEFT] = { "A", "Left" },
    [RIGHT] = { "D", "Right" }, [UP] = { "E", "PageUp" }, [DOWN] = { "Q", "PageDown" } }
  for key, names in pairs(bound) do
    BindKey(key, keys[names[1]])
    BindKey(key, keys[names[2]], 1)
  end
end

function KeyHappen(key, state)
  held[key] = state > 0
end

-- A lamp at every crossing, turned towards the viewer.
local function lamps()
  Tex("particle")
  Color(1, 0.75, 0.35, 0.8)
  for row = 0, SIZE do
    for column = 0, SIZE do
      Push()
      Move((column - SIZE / 2) * 2.3, (row - SIZE / 2) * 2.3, 0.35)
      Rotate(-eye.turn / math.pi)
      Rotate(1, 0, 0, 0.5)
      Scale(0.3)
      Quad()
      Pop()
    end
  end
end

local function fly(delta)
  local dx, dy = GetMouseRelative()
  eye.turn = eye.turn + dx * 2
  eye.tilt = math.max(-1.4, math.min(1.4, eye.tilt - dy * 2))
  local function axis(plus, minus) return (held[plus] and 1 or 0) - (held[minus] and 1 or 0) end
  local ahead, aside = axis(FORWARD, BACK) * 4 * delta, axis(RIGHT, LEFT) * 4 * delta
  eye.x = eye.x + ahead * math.sin(eye.turn) + aside * math.cos(eye.turn)
  eye.y = eye.y + ahead * math.cos(eye.turn) - aside * math.sin(eye.turn)
  eye.z = math.max(0.4, eye.z + axis(UP, DOWN) * 4 * delta + ahead * math.sin(eye.tilt))
end

function Draw(time, delta)
  fly(delta)
  local flat = math.cos(eye.tilt)
  SetCam(3, 60)
  LookAt(eye.x, eye.y, eye.z,
    eye.x + math.sin(eye.turn) * flat, eye.y + math.cos(eye.turn) * flat, eye.z + math.sin(eye.tilt))
  Culling(0)
  SetLighting(0)
  Depth(0)
  Color(0.9)
  Tex("stars")
  Push()
  Move(eye.x, eye.y, eye.z)
  Scale(50)
  Geom("sky")
  Pop()
  Depth(1)
  SetLight(0, 20, -30, 40)
  Tex(-1)
  Color(0.13, 0.13, 0.16)
  Push()
  Scale(SIZE * 1.3)
  Quad() -- the streets
  Pop()
  Tex("grass")
  Color(0.6, 0.7, 0.6)
  Geom(ground)
  Tex("brick")
  Color(0.8)
  Geom("roofs")
  Tex("facade")
  Color(1)
  SetAmbientColor(0.75, 0.72, 0.7) -- windows glow at night
  Geom("walls")
  SetAmbientColor(0.3, 0.3, 0.38)
  SetLighting(0)
  Blend(1)
  Depth(1, 0)
  lamps()
  hud.help("City", "W, A, S, D or arrows: fly   E, Q: up, down\nmouse: look around")
end
