-- The same calls of love.graphics, kept in locals.
local ROUNDS = 300000
local graphics = love.graphics
local push, pop, translate, rotate = graphics.push, graphics.pop, graphics.translate, graphics.rotate
local scale, setColor = graphics.scale, graphics.setColor

local cases = {
  {"Push and Pop", 2, function(n) for _ = 1, n do push() pop() end end},
  {"Move", 1, function(n) for _ = 1, n do translate(0.1, 0.2) end end},
  {"Rotate", 1, function(n) for _ = 1, n do rotate(0.1) end end},
  {"Scale", 1, function(n) for _ = 1, n do scale(1.0001, 1.0001) end end},
  {"Color", 1, function(n) for _ = 1, n do setColor(0.1, 0.2, 0.3, 1) end end},
  {"a mix", 6, function(n)
    for _ = 1, n do
      push()
      translate(0.1, 0.2)
      rotate(0.1)
      scale(1.0001, 1.0001)
      setColor(0.1, 0.2, 0.3, 1)
      pop()
    end
  end},
}

function love.draw()
  for _, case in ipairs(cases) do
    local best = math.huge
    for _ = 1, 9 do
      graphics.origin()
      local start = os.clock()
      case[3](ROUNDS)
      best = math.min(best, os.clock() - start)
    end
    print(string.format("result %s %.2f", case[1], ROUNDS * case[2] / best / 1e6))
    print(string.format("check %s %d", case[1], case[2]))
  end
  io.stdout:flush()
  love.event.quit()
end
