-- Module `moon`: the small standard library that MoonScript documents, as one table that is also the global
-- `moon`. Nothing here keeps state of its own.
local dump = require("moonscript.util").dump
local lua_type = type

local library = { dump = dump, debug = {} }
moon = library

-- Prints a value, tables with their contents.
function library.p(value)
  print((dump(value)))
end

-- The class that value is an instance of, else nil. An instance's metatable is its class's method table, the
-- only metatable that holds __class itself; a class object has another.
local function class_of(value)
  local meta = lua_type(value) == "table" and getmetatable(value)
  return lua_type(meta) == "table" and rawget(meta, "__class") or nil
end

function library.is_object(value)
  return class_of(value) ~= nil
end

-- The class of an instance, else what Lua's type says.
function library.type(value)
  return class_of(value) or lua_type(value)
end

-- Runs fn with scope searched before fn's own environment. Globals that fn sets stay in a table of their own.
function library.run_with_scope(fn, scope, ...)
  local outer = getfenv(fn)
  local function look_up(_, name)
    local value = scope[name]
    if value == nil then
      value = outer[name]
    end
    return value
  end
  setfenv(fn, setmetatable({}, { __index = look_up }))
  return fn(...)
end

-- Makes fn(tbl, key) the source of missing values; each is stored. Called with fn alone it starts a new table.
function library.defaultbl(tbl, fn)
  if fn == nil then
    tbl, fn = {}, tbl
  end
  local function generate(self, key)
    local value = fn(self, key)
    rawset(self, key, value)
    return value
  end
  return setmetatable(tbl, { __index = generate })
end

-- Lets each table look missing keys up in the next one; returns the first.
function library.extend(first, ...)
  local previous = first
  for _, following in ipairs({ ... }) do
    setmetatable(previous, { __index = following })
    previous = following
  end
  return first
end

function library.copy(tbl)
  local result = {}
  for key, value in pairs(tbl) do
    result[key] = value
  end
  return result
end

-- A proxy whose methods run on obj without naming it; each is bound at its first use.
function library.bind_methods(obj)
  local function bind(proxy, name)
    local value = obj[name]
    if lua_type(value) ~= "function" then
      return value
    end
    local function bound(...)
      return value(obj, ...)
    end
    rawset(proxy, name, bound)
    return bound
  end
  return setmetatable({}, { __index = bind })
end

-- Copies a class's methods into obj, then runs the class's constructor on obj.
function library.mixin(obj, class, ...)
  for name, method in pairs(class.__base) do
    if not (lua_type(name) == "string" and name:match("^__")) then
      obj[name] = method
    end
  end
  class.__init(obj, ...)
end

-- Gives obj the named methods of other, which run on other, called as obj\name(...) or as obj.name(...).
function library.mixin_object(obj, other, names)
  for _, name in ipairs(names) do
    obj[name] = function(first, ...)
      if first == obj then
        return other[name](other, ...)
      end
      return other[name](other, first, ...)
    end
  end
end

-- Copies into a what b holds under the names, or all of b.
function library.mixin_table(a, b, names)
  if names == nil then
    for key, value in pairs(b) do
      a[key] = value
    end
    return
  end
  for _, name in ipairs(names) do
    a[name] = b[name]
  end
end

-- fn(fn(fn(items[1], items[2]), items[3]), ...); nil for no items.
function library.fold(items, fn)
  local result = items[1]
  for i = 2, #items do
    result = fn(result, items[i])
  end
  return result
end

-- `moon.debug` has all of Lua's debug functions and `upvalue`.
for name, fn in pairs(debug) do
  library.debug[name] = fn
end

-- Reads, or with a third argument sets, the upvalue of fn that has this name.
function library.debug.upvalue(fn, name, ...)
  local index = 1
  local found, value = debug.getupvalue(fn, index)
  while found and found ~= name do
    index = index + 1
    found, value = debug.getupvalue(fn, index)
  end
  if not found then
    error("no upvalue named " .. tostring(name), 2)
  end
  if select("#", ...) == 0 then
    return value
  end
  debug.setupvalue(fn, index, (...))
end

return library
