-- Keep the ball in the court: every save with the paddle scores and makes it faster. The best score is kept.
-- Shows: the 2D space mapper (walls, moving a disc, looking ahead along a line), saved strings, the mouse.
local hud = require "hud"
local keys = require "keys"

local RADIUS, HALF = 0.05, 0.24 -- of the ball; half the width of the paddle
local court = { -- corners of the open-bottomed court, then pegs; each pair of points is a wall
  { -1.2, -0.95, -1.2, 0.4 }, { -1.2, 0.4, -0.9, 0.72 }, { -0.9, 0.72, 0.9, 0.72 }, { 0.9, 0.72, 1.2, 0.4 },
  { 1.2, 0.4, 1.2, -0.95 },
}
local ball, paddle, score, best, playing, flash = {}, 0, 0, 0, false, 0
local showGrid, velocity = false, { 0, 0 }
local SERVE, LEFT, RIGHT, GRID = 1, 2, 3, 4
local held = {}

local function peg(x, y, size)
  for i = 0, 3 do
    local a, b = i * math.pi / 2, (i + 1) * math.pi / 2
    table.insert(court, { x + size * math.cos(a), y + size * math.sin(a), x + size * math.cos(b), y + size * math.sin(b) })
  end
end

-- The mapper has no moving walls: it is emptied and filled again with the paddle where it is now.
local function buildWalls()
  SpaceMapperReset(1) -- 1 keeps the bounds and the grid
  for _, wall in ipairs(court) do AddSpaceObject("line2d", wall[1], wall[2], wall[3], wall[4]) end
  AddSpaceObject("line2d", paddle - HALF, -0.85, paddle + HALF, -0.85)
end

local function serve()
  ball = { 0, -0.3 }
  velocity = { 0.5 * (math.random() < 0.5 and -1 or 1), 0.9 }
  score, playing = 0, true
  SpaceEvent("serve") -- this mapper knows no events; others may
end

function Init()
  hud.load()
  for _, name in ipairs { "particle", "checker" } do AddTex("textures/" .. name .. ".png") end
  for _, name in ipairs { "bounce", "pickup", "fail", "fanfare" } do AddAudio("sounds/" .. name .. ".wav") end
  best = tonumber(ReadSaveString("bounce", "bounce.save")) or 0
  peg(-0.55, 0.25, 0.12)
  peg(0.55, 0.25, 0.12)
  peg(0, 0.02, 0.09)
  SetSpaceMapper(1)
  Set2DSpaceBounds(-1.3, -1, 1.3, 1, 6, 5)
  BackColor(0.03, 0.05, 0.1, 1)
  BindKey(SERVE, keys.Space)
  BindKey(SERVE, keys.MouseLeft, 1)
  BindKey(LEFT, keys.Left)
  BindKey(RIGHT, keys.Right)
  BindKey(GRID, keys.G)
  serve()
  playing = false
end

function KeyHappen(key, state)
  held[key] = state > 0
  if state == 1 and key == SERVE and not playing then serve() end
  if state == 1 and key == GRID then showGrid = not showGrid end
end

local function movePaddle(delta)
  local dx = GetMouseRelative()
  local push = (held[RIGHT] and 1 or 0) - (held[LEFT] and 1 or 0)
  paddle = math.max(-1.18 + HALF, math.min(1.18 - HALF, paddle + dx * 2 + push * 2 * delta))
end

local function saved()
  score = score + 1
  local faster = 1.05
  -- Where the ball meets the paddle decides where it goes.
  velocity[1] = velocity[1] * faster + (ball[1] - paddle) * 1.5
  velocity[2] = math.abs(velocity[2]) * faster
  flash = 1
  Audio("pickup")
end

local function lost()
  playing = false
  if score > best then
    best = score
    WriteSaveString("bounce", "bounce.save", tostring(best))
    Audio("fanfare")
  else
    Audio("fail")
  end
end

local function moveBall()
  local contact, result, after = {}, {}, {}
  local hits = MapPoint(ball, velocity, RADIUS, contact, result, after)
  ball, velocity = result, after
  if hits > 0 then
    AudioProps(Audio("bounce"), 0.5, 1, 0, contact[1], 0, -1)
    if contact[2] < -0.75 and velocity[2] > 0 and math.abs(contact[1] - paddle) < HALF + RADIUS then saved() end
  end
  if ball[2] < -1.1 then lost() end
end

local function bar(x1, y1, x2, y2)
  Push()
  Move((x1 + x2) / 2, (y1 + y2) / 2)
  Rotate(math.atan2(y2 - y1, x2 - x1) / math.pi)
  Scale(math.sqrt((x2 - x1) ^ 2 + (y2 - y1) ^ 2) / 2 + 0.008, 0.008, 1)
  Quad()
  Pop()
end

local function drawCourt()
  Color(0.45, 0.75, 1)
  for _, wall in ipairs(court) do bar(wall[1], wall[2], wall[3], wall[4]) end
  Color(0.3 + 0.7 * flash, 1, 0.6)
  hud.box(paddle, -0.87, HALF, 0.02)
  -- The way ahead: MapLine stops at the first thing that the ball would touch.
  local contact, bounced = {}, {}
  MapLine(ball, { ball[1] + velocity[1] * 0.7, ball[2] + velocity[2] * 0.7 }, RADIUS, contact, bounced)
  Color(1, 1, 1, 0.25)
  DrawLine(ball[1], ball[2], 0, contact[1], contact[2], 0)
  DrawLine(contact[1], contact[2], 0, bounced[1], bounced[2], 0)
end

function Draw(time, delta)
  hud.start()
  movePaddle(delta)
  buildWalls()
  if playing then moveBall() end
  flash = flash * (1 - 3 * delta)
  Tex("checker")
  Color(0.07, 0.1, 0.19)
  hud.box(0, -0.12, 1.2, 0.84)
  Tex(-1)
  if showGrid then
    Color(0.2, 0.3, 0.3)
    DebugDrawSegments()
  end
  drawCourt()
  Tex("particle")
  Blend(1)
  Color(1, 0.8 - 0.5 * flash, 0.4)
  hud.box(ball[1], ball[2], RADIUS * 2.6, RADIUS * 2.6)
  hud.box(ball[1], ball[2], RADIUS * 1.4, RADIUS * 1.4)
  hud.help("Bounce", "mouse or Left, Right: paddle   Space or click: serve   G: grid")
  hud.print(("Score %d   Best %d"):format(score, best), hud.right - 0.06, 0.9, 0.11, -1)
  if not playing then hud.print("Press Space to serve", 0, -0.35, 0.12, 0) end
end
