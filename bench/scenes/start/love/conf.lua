function love.conf(t)
  t.window.width, t.window.height, t.window.vsync = 1024, 768, 0
  for _, name in ipairs({"audio", "data", "font", "image", "joystick", "keyboard", "math", "mouse", "physics", "sound",
                         "system", "thread", "touch", "video"}) do
    t.modules[name] = false
  end
end
