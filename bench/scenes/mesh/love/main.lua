-- The same mesh as a static love Mesh of triangles.
local DRAWS, WARM, MEASURED = 1000, 2, 5
local graphics = love.graphics

local function makeMesh()
  local vertices = {}
  for i = 0, 4999 do
    local x, y = i % 100 / 100, math.floor(i / 100) / 50
    vertices[#vertices + 1] = {x, y}
    vertices[#vertices + 1] = {x + 0.008, y}
    vertices[#vertices + 1] = {x, y + 0.016}
  end
  return graphics.newMesh(vertices, "triangles", "static")
end

function love.run()
  local mesh, frame, start = makeMesh(), 0, 0
  return function()
    love.event.pump()
    frame = frame + 1
    if frame == WARM + 1 then start = love.timer.getTime() end
    if frame == WARM + MEASURED + 1 then
      print(string.format("result %.3f", (love.timer.getTime() - start) * 1000 / MEASURED))
      print(string.format("check %d", DRAWS))
      return 0
    end
    graphics.origin()
    graphics.clear(0, 0, 0)
    graphics.scale(512, -384)
    graphics.translate(0, -2)
    for i = 1, DRAWS do
      graphics.translate(0.001, 0.001)
      graphics.draw(mesh)
    end
    graphics.present()
  end
end
