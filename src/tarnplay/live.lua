-- Takes edited script files into the running game. Runs in the game's own Lua state, out of its sight.
--
-- A file that was edited runs again as if for the first time: the globals that it set before are away while it
-- runs. What it sets then is merged into what the game has, see livemerge.lua.
local tell, seed, merge = ...
local next, type, rawget, rawset, rawequal, ipairs = next, type, rawget, rawset, rawequal, ipairs
local pcall, xpcall, require, loadstring, getinfo = pcall, xpcall, require, loadstring, debug.getinfo
local getmetatable, dump, open = debug.getmetatable, string.dump, io.open
local match, gmatch, gsub, concat, sort = string.match, string.gmatch, string.gsub, table.concat, table.sort
local randomseed, loaded, globals = math.randomseed, package.loaded, _G
local foreign, copy, snapshot = merge.foreign, merge.copy, merge.snapshot
local is_lua_function, is_reference = merge.is_lua_function, merge.is_reference

local units = {}   -- by path: what is known of each script file that has run
local ran = 0      -- runs of files so far
local setter = {}  -- by the name of a global: the unit that has set it last
local main         -- the unit of the game's main file
local init         -- the Init that has built the game, see describe_init
local waiting = {} -- paths of edited files that have not been taken in yet, as keys

-- A chunk's source is "@scripts/game.lua", "@./scripts/module.lua" or, for MoonScript, the same without "@".
local function path_of(source)
  return match(source, "^@?%.?/?(scripts/.*)$")
end

local function read_file(path)
  local file = open(path, "rb")
  local text = file and file:read("*a")
  if file then
    file:close()
  end
  return text
end

-- ---- Running files

-- Remembers what a run of the unit's file has set and returned.
-- @param before the globals from before; names that the unit had set itself are missing in it
local function note(unit, before, start, result)
  ran = ran + 1
  unit.ran = ran
  local seen, names = { functions = {}, tables = {} }, {}
  for _, held in ipairs({ before, loaded }) do
    for _, value in next, held do
      if is_reference(value) then
        seen[value] = { kind = "foreign", value = value }
      end
    end
  end
  for name, value in next, globals do
    local by_another = setter[name] and setter[name] ~= unit and setter[name].ran > start
    if not rawequal(before[name], value) and not by_another and not foreign[value] then
      setter[name] = unit
      names[name] = snapshot(value, seen)
    end
  end
  unit.names, unit.result = names, snapshot(result, seen)
  unit.functions, unit.tables = seen.functions, seen.tables
end

-- @return the chunk, or nil and what is wrong; then the Lua text that it was made of
local function compile(path, source, text)
  if not match(path, "%.moon$") then
    local chunk, problem = loadstring(gsub(text, "^#[^\n]*", "", 1), source)
    return chunk, problem, text
  end
  local code, lines = require("moonscript").to_lua(text)
  if not code then
    return nil, "error loading module from file '" .. path .. "':\n\t" .. lines
  end
  require("moonscript.line_tables")[source] = lines
  return loadstring(code, source), nil, code
end

-- A `require` that failed leaves a mark that would make the next one fail as well.
local function forget_failed_modules()
  for name, module in next, loaded do
    if type(module) == "userdata" then
      loaded[name] = nil
    end
  end
end

local function put_back(before, start)
  for name in next, copy(globals) do
    local by_module = setter[name] and setter[name].ran > start
    if before[name] == nil and not by_module then
      rawset(globals, name, nil)
    end
  end
  for name, value in next, before do
    rawset(globals, name, value)
  end
end

-- @return false when the file cannot be taken in: then nothing has changed
local function run_again(unit)
  local text = read_file(unit.path)
  if not text or not match(text, "%S") then
    return true -- removed, or emptied to be written anew
  end
  local chunk, problem, code = compile(unit.path, unit.source, text)
  if not chunk then
    tell(problem)
    return false
  end
  local before, start = copy(globals), ran
  for name in next, unit.names do
    rawset(globals, name, nil)
  end
  local cleared = copy(globals)
  randomseed(seed)
  local succeeded, result = xpcall(function()
    return chunk(unit.name)
  end, tell)
  if not succeeded then
    forget_failed_modules()
    put_back(before, start)
    return false
  end
  local old = copy(unit)
  unit.code = code
  note(unit, cleared, start, result)
  merge.take_over(unit, old, before, result)
  return true
end

-- ---- Init

-- The Init of the game, its compiled code, and what is needed to find its text.
local function describe_init()
  local fn = rawget(globals, "Init")
  if not is_lua_function(fn) then
    return nil
  end
  local place = getinfo(fn, "S")
  local unit = units[path_of(place.source) or ""]
  local dumped, code = pcall(dump, fn, true)
  return { place = place, unit = unit and copy(unit), dump = dumped and code }
end

-- The lines of a function in the Lua text that was run. That of a file's first run is made when it is asked for.
local function lines_of(description)
  local unit, number, lines = description.unit or {}, 0, {}
  local text = unit.code or unit.text or ""
  if not unit.code and match(unit.path or "", "%.moon$") then
    text = require("moonscript").to_lua(text) or text
  end
  for line in gmatch(text .. "\n", "([^\n]*)\n") do
    number = number + 1
    if number >= description.place.linedefined and number <= description.place.lastlinedefined then
      lines[#lines + 1] = match(line, "^%s*(.-)%s*$")
    end
  end
  return concat(lines, "\n")
end

-- Compiled code alone differs when a local is added elsewhere in the file; the text alone when something else on
-- the same line is.
local function init_has_changed()
  local now = describe_init()
  if not init or not now then
    return false
  end
  if now.dump ~= init.dump and lines_of(now) ~= lines_of(init) then
    return true
  end
  init = now
  return false
end

-- ---- What the player calls

local live = {}

-- The main file runs next, for the first time.
function live.start(path)
  main = { path = path, source = (match(path, "%.moon$") and "" or "@") .. path, text = read_file(path) or "" }
  units[path] = main
  main.before = copy(globals)
  randomseed(seed)
end

-- It has run.
function live.started()
  note(main, main.before, 0, nil)
  main.before = nil
  init = describe_init()
end

function live.edited(path)
  waiting[path] = true
end

-- Takes in the files that were edited; a script file that nobody has loaded belongs to the main one.
-- @return "done"; "failed", after the error was told: the files wait for the next call; "restart" when Init has
--         changed
function live.apply()
  local order, others = {}, false
  for path in next, waiting do
    if units[path] and units[path] ~= main then
      order[#order + 1] = units[path]
    else
      others = true
      waiting[path] = nil
    end
  end
  sort(order, function(a, b)
    return a.ran < b.ran
  end)
  if others then
    order[#order + 1] = main
    waiting[main.path] = true
  end
  for _, unit in ipairs(order) do
    if not run_again(unit) then
      return "failed"
    end
    waiting[unit.path] = nil
  end
  return init_has_changed() and "restart" or "done"
end

-- ---- Start

local function watched(loader)
  local function load(name)
    local chunk = loader(name)
    local source = is_lua_function(chunk) and getinfo(chunk, "S").source
    local path = source and path_of(source)
    if not path then
      return chunk
    end
    return function(...)
      local before, start = copy(globals), ran
      local unit = { path = path, source = source, name = name, text = read_file(path) or "" }
      units[path] = unit
      local result = chunk(...)
      note(unit, before, start, result)
      return result
    end
  end
  foreign[load] = true
  return load
end

local function note_foreign(value)
  if not is_reference(value) or foreign[value] then
    return
  end
  foreign[value] = true
  if type(value) == "table" then
    for _, field in next, value do
      note_foreign(field)
    end
    note_foreign(getmetatable(value))
  end
end

pcall(require, "moonscript") -- its loader is to be among those below
note_foreign(globals)
note_foreign(loaded)
note_foreign(getmetatable(""))
for index = 2, #package.loaders do
  package.loaders[index] = watched(package.loaders[index])
end
return live
