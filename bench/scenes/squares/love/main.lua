-- The same squares by love.graphics.rectangle, which joins them by itself.
local COUNT, WARM, MEASURED = 10000, 20, 100
local graphics = love.graphics

local function moved()
  for i = 1, COUNT do
    graphics.translate(i % 128 == 0 and -127 * 2.5 or 2.5, i % 128 == 0 and 3 or 0)
    graphics.rectangle("fill", -1, -1, 2, 2)
  end
end

local function pushed()
  for i = 1, COUNT do
    graphics.push()
    graphics.translate(i % 128 * 2.5, math.floor(i / 128) * 3)
    graphics.setColor(i % 256 / 255, i % 200 / 255, 0.2)
    graphics.rectangle("fill", -1, -1, 2, 2)
    graphics.pop()
  end
end

local cases = {{"Quad", moved}, {"Geom, colours", pushed}}

function love.run()
  local frame, start = 0, 0
  return function()
    love.event.pump()
    local case = cases[math.floor(frame / (WARM + MEASURED)) + 1]
    local at = frame % (WARM + MEASURED)
    frame = frame + 1
    if at == WARM then start = love.timer.getTime() end
    if at == WARM + MEASURED - 1 then
      print(string.format("result %s %.3f", case[1], (love.timer.getTime() - start) * 1000 / (MEASURED - 1)))
      print(string.format("check %s %d", case[1], COUNT))
    end
    graphics.origin()
    graphics.clear(0, 0, 0)
    graphics.setColor(1, 1, 1)
    graphics.translate(512, 384)
    graphics.scale(3, -3)
    graphics.translate(-165, -125)
    case[2]()
    graphics.present()
    if frame == #cases * (WARM + MEASURED) then return 0 end
  end
end
