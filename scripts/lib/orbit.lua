-- lib.orbit: a camera that circles a point and follows the mouse.
local orbit = { height = 0.35, turn = 0 }

-- Looks at (x, y, z) from `distance` away. The mouse turns and tilts; without it the view drifts slowly.
function orbit.look(x, y, z, distance, time)
  local mouseX, mouseY = GetMouseTotal()
  local turn = orbit.turn - mouseX * 3 + time * 0.05
  local tilt = math.max(0.05, math.min(1.45, orbit.height - mouseY * 2))
  local reach = distance * math.cos(tilt)
  LookAt(x + reach * math.sin(turn), y - reach * math.cos(turn), z + distance * math.sin(tilt), x, y, z)
end

return orbit
