-- Everything that Text can do: alignment, letter and line spacing, colours, accents, words in space.
-- Shows: Text and its parameters, 2D and 3D matrices around it, a crawl in perspective.
local hud = require "hud"
local keys = require "keys"

local pages, page = {}, 1
local PREVIOUS, NEXT = 1, 2

local function say(text, x, y, size, align, spacing, lineSpacing)
  Push()
  Move(x, y)
  Scale(size)
  Text(text, align, spacing or 0, lineSpacing or 0)
  Pop()
end

pages[1] = { "alignment", function()
  local rhyme = "Round and round\nthe rugged rock\nthe ragged rascal\nran."
  for i, column in ipairs { { 1, "left: 1" }, { 0, "centred: 0" }, { -1, "right: -1" } } do
    local x = (i - 2) * 0.85 - column[1] * 0.3
    Color(0.3, 0.35, 0.5)
    DrawLine(x, -0.5, 0, x, 0.5, 0)
    Color(1)
    say(rhyme, x, 0.05, 0.09, column[1], 0, 0.2)
    Color(1, 0.8, 0.4)
    say(column[2], (i - 2) * 0.85, -0.6, 0.08, 0)
  end
end }

pages[2] = { "spacing", function(time)
  local spread = 0.15 + 0.15 * math.sin(time * 2)
  -- Every value makes a mesh of its own, so an animated one moves in steps.
  spread = math.floor(spread * 50 + 0.5) / 50
  Color(0.6, 0.9, 1)
  say("wider and closer", 0, 0.45, 0.16, 0, spread)
  Color(1, 0.8, 0.4)
  say("line\nspacing\nbreathes\ntoo", 0, -0.2, 0.14, 0, 0, spread)
  Color(0.7)
  say(("spacing %.2f"):format(spread), 0, -0.85, 0.08, 0)
end }

pages[3] = { "a letter at a time", function(time)
  local word = "WAVING"
  for i = 1, #word do
    Push()
    Move((i - (#word + 1) / 2) * 0.32, 0.15 * math.sin(time * 3 + i * 0.7))
    Rotate(0.08 * math.sin(time * 3 + i * 0.7 + 1))
    Scale(0.5)
    Color(0.5 + 0.5 * math.sin(i), 0.5 + 0.5 * math.sin(i + 2), 0.5 + 0.5 * math.sin(i + 4))
    Text(word:sub(i, i), 0)
    Pop()
  end
  Color(0.8)
  say("Accents are single bytes of Latin-1:", 0, -0.45, 0.08, 0)
  say("\201t\233  ma\241ana  sm\246rg\229s  gr\252\223e  \191qu\233?  \189 \247 \188 = 2", 0, -0.6, 0.1, 0)
end }

local story = [[
IT IS A LONG WAY
FROM HERE TO THE HORIZON

and a text has nothing to do
but travel it, line by line,
on a matrix that leans back
until the letters lie down
among the stars.

A line is three quarters
of a unit from the next.
The rest is up to you.]]

pages[4] = { "perspective", function(time)
  SetCam(3, 60)
  LookAt(0, -1.6, 0.9, 0, 0.4, 0)
  Depth(0)
  Move(0, -2 + (time * 0.3) % 8)
  Color(1, 0.85, 0.3)
  say(story, 0, 0, 0.2, 0)
end }

function Init()
  hud.load()
  BackColor(0.04, 0.05, 0.09, 1)
  BindKey(PREVIOUS, keys.Left)
  BindKey(NEXT, keys.Right)
end

function KeyHappen(key, state)
  if state == 0 then return end
  if key == PREVIOUS then page = (page - 2) % #pages + 1 end
  if key == NEXT then page = page % #pages + 1 end
end

function Draw(time)
  hud.start()
  pages[page][2](time)
  hud.help("Letters: " .. pages[page][1], "Left, Right: other pages")
end
