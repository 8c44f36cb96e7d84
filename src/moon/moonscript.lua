-- Main module of compiler versions whose packaged text has no module loader: the compiler's own functions, plus
-- what makes `require` find .moon files along package.moonpath. Its body runs when the state is opened and again
-- under the first `require "moonscript"`; the loader is inserted once.
local moonscript = require("moonscript.base")
if moonscript.moon_loader then
  return moonscript
end

-- package.path with each template for Lua files turned into one for MoonScript files; other templates stay.
local function moon_templates(path)
  return (path .. ";"):gsub("%.lua;", ".moon;"):sub(1, -2)
end

-- The file's bytes, or nil: a template without an extension may name a directory, which opens but does not read.
local function read_file(path)
  local file = io.open(path, "rb")
  local text = file and file:read("*a")
  if file then
    file:close()
  end
  return text
end

-- Follows the protocol of package.loaders: the module as a function, or a text that says where it was sought.
function moonscript.moon_loader(name)
  local file_name = name:gsub("%.", moonscript.dirsep):gsub("%%", "%%%%")
  local sought = {}
  for template in package.moonpath:gmatch("[^;]+") do
    local path = template:gsub("%?", file_name)
    local text = read_file(path)
    if text then
      local chunk, problem = moonscript.loadstring(text, path)
      return chunk or error("error loading module '" .. name .. "' from file '" .. path .. "':\n\t" .. problem, 0)
    end
    sought[#sought + 1] = "\n\tno file '" .. path .. "'"
  end
  return table.concat(sought)
end

-- Takes the loader out of package.loaders; false when it was not there.
function moonscript.remove_loader()
  for position, loader in ipairs(package.loaders) do
    if loader == moonscript.moon_loader then
      table.remove(package.loaders, position)
      return true
    end
  end
  return false
end

-- Puts the loader at a position, by default before Lua's own search for files.
function moonscript.insert_loader(position)
  moonscript.remove_loader()
  table.insert(package.loaders, position or 2, moonscript.moon_loader)
end

package.moonpath = package.moonpath or moon_templates(package.path)
moonscript.insert_loader()
return moonscript
