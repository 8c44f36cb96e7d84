-- The same, with a loop that waits for each deadline by reading the clock.
local frames, last, deviations = 0, 0, {}

function love.run()
  local deadline = love.timer.getTime()
  return function()
    love.event.pump()
    deadline = deadline + 1 / 60
    while love.timer.getTime() < deadline do end
    local now = love.timer.getTime()
    frames = frames + 1
    if frames > 100 then
      deviations[#deviations + 1] = math.abs(now - last - 1 / 60) * 1e6
    end
    last = now
    love.graphics.origin()
    love.graphics.clear(0, 0, 0)
    love.graphics.present()
    if frames < 400 then return end
    table.sort(deviations)
    print(string.format("result %.3f", deviations[150]))
    print(string.format("check %d", #deviations))
    return 0
  end
end
