-- One mesh of 5,000 small triangles drawn 1,000 times a frame: milliseconds of a frame.
-- args: --unlimited --frames 8
-- rounds: 3
local DRAWS, WARM, MEASURED = 1000, 2, 5
local frame, start = 0, 0

function Init()
  local file = assert(io.open("bench_mesh.obj", "w"))
  for i = 0, 4999 do
    local x, y = i % 100 / 100, math.floor(i / 100) / 50
    file:write(string.format("v %f %f 0\nv %f %f 0\nv %f %f 0\n", x, y, x + 0.008, y, x, y + 0.016))
  end
  for i = 0, 4999 do file:write(string.format("f %d %d %d\n", 3 * i + 1, 3 * i + 2, 3 * i + 3)) end
  file:close()
  AddGeom("../bench_mesh.obj")
  os.remove("bench_mesh.obj")
end

function Draw(time)
  frame = frame + 1
  if frame == WARM + 1 then start = time end
  if frame == WARM + MEASURED + 1 then
    print(string.format("result %.3f", (time - start) * 1000 / MEASURED))
    print(string.format("check %d", DRAWS))
  end
  SetCam(2)
  Depth(0)
  Move(-1, -1)
  for i = 1, DRAWS do
    Move(0.001, 0.001)
    Geom(0)
  end
end
