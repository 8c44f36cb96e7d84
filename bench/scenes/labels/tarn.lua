-- Labels of 24 characters: 200 and 1,000 that stay the same, 20 that change every frame: milliseconds of a frame.
-- args: --unlimited --frames 270
local WARM, MEASURED = 20, 70
local frame, start = 0, 0

function Init()
  AddTex("textures/font.png")
end

local texts = {}
for i = 1, 1000 do texts[i] = string.format("label number %04d of them", i) end

local function fixed(count)
  return function()
    for i = 1, count do
      Push()
      Move(i % 5 * 17 - 42, math.floor(i / 5) % 60 - 30)
      Text(texts[i])
      Pop()
    end
  end
end

local function changing()
  for i = 1, 20 do
    Push()
    Move(i % 2 * 30 - 30, i - 10)
    Text(string.format("frame %06d, label %04d ..", frame, i))
    Pop()
  end
end

local cases = {{"200 fixed", fixed(200)}, {"1000 fixed", fixed(1000)}, {"20 changing", changing}}

function Draw(time)
  local case = cases[math.floor(frame / (WARM + MEASURED)) + 1]
  local at = frame % (WARM + MEASURED)
  frame = frame + 1
  if at == WARM then start = time end
  if at == WARM + MEASURED - 1 then
    print(string.format("result %s %.3f", case[1], (time - start) * 1000 / (MEASURED - 1)))
    print(string.format("check %s %d", case[1], #texts))
  end
  SetCam(2)
  Depth(0)
  Blend(0)
  Color(1)
  Scale(24 / 1024, 24 / 768)
  case[2]()
end
