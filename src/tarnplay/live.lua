-- Takes edited script files into the running game. Runs in the game's own Lua state, out of its sight.
--
-- A file that was edited runs again as if for the first time: the globals that it set before are away while it
-- runs, and so are the modules that it has made with `module`. What it sets then is merged into what the game has,
-- see livemerge.lua. Names that it leaves alone, or sets to nil, keep what the game has put there.
local tell, seed, snapshots, take_over = ...
local next, type, rawget, rawset, rawequal, ipairs = next, type, rawget, rawset, rawequal, ipairs
local pcall, xpcall, require, loadstring, getinfo = pcall, xpcall, require, loadstring, debug.getinfo
local getmetatable, dump, open = debug.getmetatable, string.dump, io.open
local match, gmatch, gsub, concat, sort = string.match, string.gmatch, string.gsub, table.concat, table.sort
local randomseed, loaded, globals = math.randomseed, package.loaded, _G
local foreign, copy, snapshot = snapshots.foreign, snapshots.copy, snapshots.snapshot
local is_lua_function, is_reference = snapshots.is_lua_function, snapshots.is_reference

local units = {}   -- by path: what is known of each script file that has run
local ran = 0      -- runs of files so far
local setter = {}  -- by the name of a global: the unit that has set it last
local maker = {}   -- by the name of a module that was made with `module`: the unit that has done so
local outside = {} -- names of modules from elsewhere, as keys
local unrepeatable -- why a file can never run a second time in one game
local main         -- the unit of the game's main file
local init         -- the Init that has built the game, see describe_init
local waiting = {} -- paths of edited files that have not been taken in yet, as keys
local translated = {} -- by path: what MoonScript has made of a file that was written just now

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

-- What was there before a run.
local function present()
  return { globals = copy(globals), loaded = copy(loaded), ran = ran }
end

local function is_by_another(unit, makers, name, before)
  return makers[name] and makers[name] ~= unit and makers[name].ran > before.ran
end

-- @return by name, what the unit's file has made with `module`; then, as keys, the globals that hold modules of others
--         as well
local function made_modules(unit, before)
  local made, holders = {}, {}
  for name, value in next, loaded do
    local is_module = type(value) == "table" and rawget(value, "_NAME") == name and rawget(value, "_M") == value
    local is_new = is_module and not rawequal(before.loaded[name], value)
    if is_new and not outside[name] and not is_by_another(unit, maker, name, before) then
      made[name], maker[name] = value, unit
      local holder = match(name, "^([^.]+)%.")
      if holder then
        holders[holder], setter[holder] = true, unit
      end
    end
  end
  return made, holders
end

-- Remembers what a run of the unit's file has set and returned.
-- @param before names that the unit had set itself are missing in it
local function note(unit, before, result)
  ran = ran + 1
  unit.ran = ran
  local made, holders = made_modules(unit, before)
  local seen, names, modules = { functions = {}, tables = {} }, {}, {}
  for _, held in ipairs({ before.globals, loaded }) do
    for name, value in next, held do
      if is_reference(value) and not rawequal(made[name], value) then
        seen[value] = { kind = "foreign", value = value }
      end
    end
  end
  for name, value in next, globals do
    local is_new = not rawequal(before.globals[name], value) and not is_by_another(unit, setter, name, before)
    if is_new and not foreign[value] and not holders[name] then
      setter[name] = unit
      names[name] = snapshot(value, seen)
    end
  end
  for name, value in next, made do
    modules[name] = snapshot(value, seen)
  end
  unit.names, unit.modules, unit.result = names, modules, snapshot(result, seen)
  unit.functions, unit.tables = seen.functions, seen.tables
end

-- @return the Lua text, or nil; then its line table, or what is wrong
local function translate(path, text)
  local done = translated[path]
  if not done or done.text ~= text then
    local code, lines = require("moonscript").to_lua(text)
    done = { text = text, code = code, lines = lines }
    translated[path] = done
  end
  return done.code, done.lines
end

-- @return the chunk, or nil and what is wrong; then the Lua text that it was made of
local function compile(path, source, text)
  if not match(path, "%.moon$") then
    local chunk, problem = loadstring(gsub(text, "^#[^\n]*", "", 1), source)
    return chunk, problem, text
  end
  local code, lines = translate(path, text)
  translated[path] = nil
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

-- Where the global name of a module leads to.
-- @return the table that holds it, if there is one, and its key in it
local function holder_of(name)
  local holder = globals
  for part in gmatch(name, "([^.]+)%.") do
    holder = type(holder) == "table" and rawget(holder, part) or nil
  end
  return type(holder) == "table" and holder or nil, match(name, "[^.]*$")
end

-- Takes away what the unit has set when its file was run last.
local function clear(unit)
  for name in next, unit.names do
    rawset(globals, name, nil)
  end
  for name in next, unit.modules do
    local holder, key = holder_of(name)
    if holder then
      rawset(holder, key, nil)
    end
    loaded[name] = nil
  end
end

local function restore_modules(unit, before)
  for name in next, unit.modules do
    local holder, key = holder_of(name)
    if holder and loaded[name] == nil then
      rawset(holder, key, before.loaded[name])
    end
    loaded[name] = loaded[name] or before.loaded[name]
  end
end

-- After a run that has failed.
local function put_back(unit, before)
  for name in next, copy(globals) do
    local by_module = setter[name] and setter[name].ran > before.ran
    if before.globals[name] == nil and not by_module then
      rawset(globals, name, nil)
    end
  end
  for name, value in next, before.globals do
    rawset(globals, name, value)
  end
  for name in next, unit.modules do
    loaded[name] = nil
  end
  restore_modules(unit, before)
end

-- A file that says `name = nil` means the game to fill it in.
local function put_back_cleared(cleared)
  for name, value in next, cleared.globals do
    if rawget(globals, name) == nil then
      rawset(globals, name, value)
    end
  end
end

-- @return "done"; "failed" when the file cannot be taken in: then nothing has changed; otherwise why the game has to
--         start anew
local function run_again(unit)
  local text = read_file(unit.path)
  if not text or not match(text, "%S") then
    return "done" -- removed, or emptied to be written anew
  end
  local chunk, problem, code = compile(unit.path, unit.source, text)
  if not chunk then
    tell(problem)
    return "failed"
  end
  local before = present()
  clear(unit)
  local cleared = present()
  randomseed(seed)
  unrepeatable = nil
  local succeeded, result = xpcall(function()
    return chunk(unit.name)
  end, tell)
  if not succeeded then
    forget_failed_modules()
    put_back(unit, before)
    return unrepeatable or "failed"
  end
  local old = copy(unit)
  unit.code = code
  put_back_cleared(cleared)
  restore_modules(unit, before)
  note(unit, cleared, result)
  take_over(unit, old, before, result)
  return "done"
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
  main.before = present()
  randomseed(seed)
end

-- Called, while an error is told, by what tells it. LuaJIT's types of C code are there once and for all: a file that
-- gives them fields or methods can run again in a new game only.
-- @return why the game has to start anew, for such an error
function live.unrepeatable()
  local ffi, raiser = loaded.ffi, getinfo(3, "f").func
  if ffi and (raiser == ffi.metatype or raiser == ffi.cdef) then
    unrepeatable = "a file that declares C types for LuaJIT cannot run twice"
  end
  return unrepeatable
end

-- It has run.
function live.started()
  note(main, main.before, nil)
  main.before = nil
  init = describe_init()
end

-- A file was written, maybe not for the last time. MoonScript takes most of the time until a save is to be seen.
function live.prepare(path)
  local text = match(path, "%.moon$") and units[path] and read_file(path)
  if text and match(text, "%S") then
    translate(path, text)
  end
end

-- A module whose file has gone may have been written anew in the other language.
local function follow(stem, old_ending, new_ending)
  local unit = units[stem .. old_ending]
  local path = stem .. new_ending
  if not unit or unit == main or units[path] or read_file(unit.path) or not read_file(path) then
    return
  end
  units[unit.path], units[path] = nil, unit
  waiting[unit.path], waiting[path] = nil, true
  unit.path = path
  local source = match(unit.source, "^@?(.*)%.%a+$") .. new_ending
  unit.source = (new_ending == ".lua" and "@" or "") .. source
end

-- A file that was written or removed.
function live.edited(path)
  if units[path] or read_file(path) then
    waiting[path] = true
  end
  local stem = match(path, "^(.*)%.%a+$")
  follow(stem, ".lua", ".moon")
  follow(stem, ".moon", ".lua")
end

-- Takes in the files that were edited; a script file that nobody has loaded belongs to the main one.
-- @return "done"; "failed", after the error was told: the files wait for the next call; otherwise why the game has
--         to start anew
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
    local result = run_again(unit)
    if result ~= "done" then
      return result
    end
    waiting[unit.path] = nil
  end
  return init_has_changed() and "Init has changed" or "done"
end

-- ---- Start

local function watched(loader)
  local function load(name)
    local chunk = loader(name)
    local source = is_lua_function(chunk) and getinfo(chunk, "S").source
    local path = source and path_of(source)
    if not path then
      outside[name] = outside[name] or type(chunk) == "function"
      return chunk
    end
    return function(...)
      local before = present()
      local unit = { path = path, source = source, name = name, text = read_file(path) or "" }
      units[path] = unit
      local result = chunk(...)
      note(unit, before, result)
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
