-- hud: the flat overlay of the demos, for texts and 2D drawing on top of a scene.
-- Use it last in Draw: hud.start() switches to a 2D camera, in which the window is 2 units high
-- and hud.right (its half width) depends on the shape of the window.
local hud = {
  right = 1,
  ink = { 1, 1, 1, 1 }, -- colour of the letters
  shadow = { 0, 0, 0, 0.7 }, -- and of the edge that keeps them readable on any picture
}

-- Call once in Init: texts are drawn with the texture item named "font".
function hud.load()
  AddTex("textures/font.png")
end

function hud.start()
  local width, height = GetWindowSize()
  hud.right = width / height
  Set2DCamScale(1)
  SetCam(2, 2)
  Shad(-1)
  Tex(-1)
  SetLighting(0)
  Culling(0)
  Logic(-1)
  Depth(0)
  Blend(0)
  Color(1)
end

local function write(text, x, y, size, align, colour)
  Push()
  Move(x, y)
  Scale(size)
  Color(colour[1], colour[2], colour[3], colour[4])
  Text(text, align or 1, 0, 0.12)
  Pop()
end

-- Draws text at (x, y). align: 1 left (default), 0 centred, -1 right.
function hud.print(text, x, y, size, align)
  write(text, x + size * 0.05, y - size * 0.05, size, align, hud.shadow)
  write(text, x, y, size, align, hud.ink)
  Color(1)
end

-- A rectangle in the current colour: centre and half sizes.
function hud.box(x, y, halfWidth, halfHeight)
  Push()
  Move(x, y)
  Scale(halfWidth, halfHeight, 1)
  Quad()
  Pop()
end

-- A title in the upper left corner and the keys below it.
function hud.help(title, keys)
  hud.start()
  hud.print(title, -hud.right + 0.06, 0.9, 0.11)
  local _, breaks = keys:gsub("\n", "")
  -- Text centres its lines about y, so a longer help starts further down.
  hud.print(keys, -hud.right + 0.06, 0.79 - 0.435 * 0.066 * breaks, 0.066)
end

return hud
