-- 10,000 squares of 6 pixels a frame, moved and drawn one by one: milliseconds of a whole frame.
-- args: --unlimited --frames 240
local COUNT, WARM, MEASURED = 10000, 20, 100
local frame, start = 0, 0

function Init()
  AddGeom("geom/quad.obj")
end

-- From one square to the next by Move alone, in units of half a square; a row has 128 of them.
local function moved()
  for i = 1, COUNT do
    Move(i % 128 == 0 and -127 * 2.5 or 2.5, i % 128 == 0 and 3 or 0)
    Quad()
  end
end

local function pushed()
  for i = 1, COUNT do
    Push()
    Move(i % 128 * 2.5, math.floor(i / 128) * 3)
    Color(i % 256 / 255, i % 200 / 255, 0.2)
    Geom(0)
    Pop()
  end
end

local cases = {{"Quad", moved}, {"Geom, colours", pushed}}

function Draw(time)
  local case = cases[math.floor(frame / (WARM + MEASURED)) + 1]
  local at = frame % (WARM + MEASURED)
  frame = frame + 1
  if at == WARM then start = time end
  if at == WARM + MEASURED - 1 then
    print(string.format("result %s %.3f", case[1], (time - start) * 1000 / (MEASURED - 1)))
    print(string.format("check %s %d", case[1], COUNT))
  end
  SetCam(2)
  Depth(0)
  Color(1)
  Scale(6 / 1024, 6 / 768)
  Move(-165, -125)
  case[2]()
end
