-- How far the interval between two frames is from 1/60 s, the median of 300 frames by the clock that the engine
-- gives to scripts (its steps grow with the running time, so the first seconds count).
-- rounds: 5
-- args: --frames 400
local frames, last, deviations = 0, 0, {}

function Init() end

function Draw(time)
  frames = frames + 1
  if frames > 100 then
    deviations[#deviations + 1] = math.abs(time - last - 1 / 60) * 1e6
  end
  last = time
  if frames == 400 then
    table.sort(deviations)
    print(string.format("result %.3f", deviations[150]))
    print(string.format("check %d", #deviations))
  end
end
