-- The same labels by love.graphics.print, 12 pixels high as there.
local WARM, MEASURED = 20, 70
local graphics = love.graphics
local frame, start = 0, 0

local texts = {}
for i = 1, 1000 do texts[i] = string.format("label number %04d of them", i) end

local function fixed(count)
  return function()
    for i = 1, count do
      graphics.push()
      graphics.translate((i % 5 * 17 - 42) * 12, (math.floor(i / 5) % 60 - 30) * 12)
      graphics.print(texts[i])
      graphics.pop()
    end
  end
end

local function changing()
  for i = 1, 20 do
    graphics.push()
    graphics.translate((i % 2 * 30 - 30) * 12, (i - 10) * 12)
    graphics.print(string.format("frame %06d, label %04d ..", frame, i))
    graphics.pop()
  end
end

local cases = {{"200 fixed", fixed(200)}, {"1000 fixed", fixed(1000)}, {"20 changing", changing}}

function love.run()
  graphics.setFont(graphics.newFont(12))
  return function()
    love.event.pump()
    local case = cases[math.floor(frame / (WARM + MEASURED)) + 1]
    local at = frame % (WARM + MEASURED)
    frame = frame + 1
    if at == WARM then start = love.timer.getTime() end
    if at == WARM + MEASURED - 1 then
      print(string.format("result %s %.3f", case[1], (love.timer.getTime() - start) * 1000 / (MEASURED - 1)))
      print(string.format("check %s %d", case[1], #texts))
    end
    graphics.origin()
    graphics.clear(0, 0, 0)
    graphics.setColor(1, 1, 1)
    graphics.translate(512, 384)
    case[2]()
    graphics.present()
    if frame == #cases * (WARM + MEASURED) then return 0 end
  end
end
