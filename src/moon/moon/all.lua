-- Module `moon.all`: every function of `moon` as a global. `type` and `debug` give way to the library's own.
local library = require("moon")
for name, value in pairs(library) do
  _G[name] = value
end
return library
