-- The same script with every module switched off that it can spare (conf.lua).
function love.draw()
  love.graphics.rectangle("fill", 10, 10, 50, 50)
  print("frame")
  io.stdout:flush()
  love.event.quit()
end
