-- Calls a second that a script makes of the functions between two draws, in millions.
-- args: --frames 1
local ROUNDS = 300000

local cases = {
  {"Push and Pop", 2, function(n) for _ = 1, n do Push() Pop() end end},
  {"Move", 1, function(n) for _ = 1, n do Move(0.1, 0.2) end end},
  {"Rotate", 1, function(n) for _ = 1, n do Rotate(0.1) end end},
  {"Scale", 1, function(n) for _ = 1, n do Scale(1.0001, 1.0001) end end},
  {"Color", 1, function(n) for _ = 1, n do Color(0.1, 0.2, 0.3, 1) end end},
  {"a mix", 6, function(n)
    for _ = 1, n do
      Push()
      Move(0.1, 0.2)
      Rotate(0.1)
      Scale(1.0001, 1.0001)
      Color(0.1, 0.2, 0.3, 1)
      Pop()
    end
  end},
}

function Init() end

function Draw()
  for _, case in ipairs(cases) do
    local best = math.huge
    for _ = 1, 9 do
      SetCam(2)
      local start = os.clock()
      case[3](ROUNDS)
      best = math.min(best, os.clock() - start)
    end
    print(string.format("result %s %.2f", case[1], ROUNDS * case[2] / best / 1e6))
    print(string.format("check %s %d", case[1], case[2]))
  end
end
