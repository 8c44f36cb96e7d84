-- Noise values a second that a script asks for, in millions: along a walk in small steps, and at points far
-- from each other.
-- args: --frames 1
local ROUNDS = 1000000

local function walk(n)
  local sum = 0
  for i = 1, n do sum = sum + GetNoise(i * 0.01, i * 0.02, 3) end
  return sum
end

local function jumps(n)
  local sum = 0
  for i = 1, n do sum = sum + GetNoise(i * 7.3 % 100, i * 3.7 % 100, i * 5.9 % 100) end
  return sum
end

local function measure(case, ask)
  local best = math.huge
  for _ = 1, 9 do
    local start = os.clock()
    local sum = ask(ROUNDS)
    best = math.min(best, os.clock() - start)
    if math.abs(sum / ROUNDS) > 0.02 then error("the sum of so many values is " .. sum) end
  end
  print(string.format("result %s %.2f", case, ROUNDS / best / 1e6))
  print(string.format("check %s %d", case, ROUNDS))
end

function Init()
  SetNoiseSeed(42)
  local value = GetNoise(0.9, -4.2, 11.1)
  if math.abs(value + 0.0631895661) > 1e-9 then error("GetNoise gives " .. value) end
  SetNoiseSeed(0)
end

function Draw()
  measure("a walk", walk)
  measure("jumps", jumps)
end
