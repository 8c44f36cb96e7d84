function love.conf(t)
  t.window.width, t.window.height, t.window.vsync = 1024, 768, 0
end
