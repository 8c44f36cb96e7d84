-- Three test cards of the render states: all sixteen logic operations, all blend factor pairs, and what
-- depth test, depth writes and culling do to two cubes.
-- Shows: Logic, Blend with two factors, Depth, Culling.
local hud = require "hud"
local keys = require "keys"

local logic = { "clear", "set", "copy", "copy inverted", "noop", "invert", "and", "nand", "or", "nor", "xor",
  "equiv", "and reverse", "and inverted", "or reverse", "or inverted" }
local sources = { "0", "1", "dst", "1-dst", "a", "1-a", "dst a", "1-dst a", "sat" }
local targets = { "0", "1", "src", "1-src", "a", "1-a", "dst a", "1-dst a" }
local card = 1
local PREVIOUS, NEXT = 1, 2

-- A picture to draw over: three colour bars.
local function bars(x, y, size)
  Tex(-1)
  Blend(-1)
  for i, c in ipairs { { 0.8, 0.2, 0.2 }, { 0.2, 0.6, 0.3 }, { 0.2, 0.3, 0.8 } } do
    Color(c[1], c[2], c[3])
    hud.box(x + (i - 2) * size * 0.62, y, size * 0.31, size * 0.9)
  end
end

local function logicCard()
  for op = 0, 15 do
    local x, y = (op % 4 - 1.5) * 0.5, 0.42 - math.floor(op / 4) * 0.36
    bars(x, y, 0.15)
    Logic(op)
    Color(0.9, 0.8, 0.3)
    hud.box(x, y, 0.19, 0.06)
    Logic(-1)
    Blend(0)
    hud.print(op .. " " .. logic[op + 1], x, y - 0.165, 0.05, 0)
  end
end

local function blendCard()
  for source = 0, 8 do
    for target = 0, 7 do
      local x, y = (target - 3.2) * 0.2, 0.52 - source * 0.155
      bars(x, y, 0.07)
      Blend(source, target)
      Tex("particle")
      Color(1, 0.8, 0.4, 0.9)
      hud.box(x, y, 0.09, 0.065)
    end
  end
  Tex(-1)
  Blend(0)
  for i, name in ipairs(sources) do hud.print(name, -0.8, 0.52 - (i - 1) * 0.155, 0.05, -1) end
  for i, name in ipairs(targets) do hud.print(name, (i - 4.2) * 0.2, -0.83, 0.05, 0) end
  hud.print("down: source factor   across: destination factor", 0, -0.93, 0.05, 0)
end

local depthCases = {
  { "Depth(1)  Culling(1)", 1, 1, 1 },
  { "Depth(0): later wins", 0, 0, 1 },
  { "Depth(1, 0): no writes", 1, 0, 1 },
  { "Culling(0): one-sided quad", 1, 1, 0 },
}

local function depthCard(time)
  for i, case in ipairs(depthCases) do
    local x, y = (i % 2 == 1) and -0.55 or 0.55, i < 3 and 0.3 or -0.5
    Push()
    Move(x, y)
    Scale(0.16)
    Rotate(1, 0, 0, -0.35)
    Rotate(time * 0.15)
    Depth(1) -- each case starts from the normal state
    Depth(case[2], case[3])
    Culling(case[4])
    Tex("checker")
    Color(1, 0.8, 0.6)
    Geom("cube")
    Color(0.5, 0.8, 1)
    Push()
    Move(0.9, 0.6, 0.5)
    Scale(0.8)
    Geom("cube")
    Pop()
    Color(0.6, 1, 0.6)
    Rotate(0, 1, 0, 0.5)
    Move(0, 0, -1.8)
    Quad()
    Pop()
    Depth(0)
    Culling(0)
    hud.print(case[1], x, y - 0.34, 0.065, 0)
  end
end

local cards = { { "logic operations", logicCard }, { "blend factors", blendCard }, { "depth and culling", depthCard } }

function Init()
  hud.load()
  AddTex("textures/checker.png")
  AddTex("textures/particle.png")
  AddGeom("geom/cube.obj")
  BackColor(0.12, 0.13, 0.16, 1)
  BindKey(PREVIOUS, keys.Left)
  BindKey(NEXT, keys.Right)
end

function KeyHappen(key, state)
  if state == 0 then return end
  if key == PREVIOUS then card = (card - 2) % #cards + 1 end
  if key == NEXT then card = card % #cards + 1 end
end

function Draw(time)
  hud.start()
  cards[card][2](time)
  hud.help("States: " .. cards[card][1], "Left, Right: other cards")
end
