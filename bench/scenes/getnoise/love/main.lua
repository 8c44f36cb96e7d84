-- The same with love.math.noise, kept in a local; its values lie around a half.
local ROUNDS = 1000000
local noise = love.math.noise

local function walk(n)
  local sum = 0
  for i = 1, n do sum = sum + noise(i * 0.01, i * 0.02, 3) end
  return sum
end

local function jumps(n)
  local sum = 0
  for i = 1, n do sum = sum + noise(i * 7.3 % 100, i * 3.7 % 100, i * 5.9 % 100) end
  return sum
end

local function measure(case, ask)
  local best = math.huge
  for _ = 1, 9 do
    local start = os.clock()
    local sum = ask(ROUNDS)
    best = math.min(best, os.clock() - start)
    if math.abs(sum / ROUNDS - 0.5) > 0.05 then error("the sum of so many values is " .. sum) end
  end
  print(string.format("result %s %.2f", case, ROUNDS / best / 1e6))
  print(string.format("check %s %d", case, ROUNDS))
end

function love.draw()
  measure("a walk", walk)
  measure("jumps", jumps)
  io.stdout:flush()
  love.event.quit()
end
