-- The same script with the modules that are there by default.
function love.draw()
  love.graphics.rectangle("fill", 10, 10, 50, 50)
  print("frame")
  io.stdout:flush()
  love.event.quit()
end
