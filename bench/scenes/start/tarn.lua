-- From the start of the process to the first drawn frame of a script, and the memory that it takes.
-- args: --frames 1
-- rounds: 15
function Init() end

function Draw()
  SetCam(2, 1)
  Depth(0)
  Scale(0.1)
  Quad()
  print("frame")
end
