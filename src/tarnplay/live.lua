-- Takes edited script files into the running game. Runs in the game's own Lua state, out of its sight.
--
-- A file that was edited runs again as if for the first time: the globals that it set before are away while it
-- runs. What it sets then is merged into what the game has, by three values each: the live one, the base (what
-- the file made of it when it was last run) and the new one.
--
--   functions   the new one, wherever the old one is held; but a variable to which the game itself has assigned
--               another function keeps that one (in its new version)
--   tables      the live table stays and takes over the new fields, each by these rules; metatables likewise
--   other data  the live value, unless the author has changed it: then new and base differ, and new wins
--   removed     what the author has taken out goes, unless the game has changed it since
--
-- Locals that functions share go by the same rules, found by their names.
local tell, seed = ...
local next, type, rawget, rawset, rawequal, pairs, ipairs = next, type, rawget, rawset, rawequal, pairs, ipairs
local pcall, xpcall, require, loadstring, getinfo = pcall, xpcall, require, loadstring, debug.getinfo
local getmetatable, setmetatable = debug.getmetatable, debug.setmetatable
local getupvalue, setupvalue, dump, open = debug.getupvalue, debug.setupvalue, string.dump, io.open
local match, gmatch, gsub, concat, sort = string.match, string.gmatch, string.gsub, table.concat, table.sort
local randomseed, loaded, globals = math.randomseed, package.loaded, _G

local units = {}   -- by path: what is known of each script file that has run
local foreign = {} -- tables and functions that were there before the game
local ran = 0      -- runs of files so far
local setter = {}  -- by the name of a global: the unit that has set it last
local main         -- the unit of the game's main file
local init         -- the Init that has built the game, see describe_init
local waiting = {} -- paths of edited files that have not been taken in yet, as keys

local function is_lua_function(value)
  return type(value) == "function" and getinfo(value, "S").what ~= "C"
end

local function next_upvalue(fn, index)
  local name, value = getupvalue(fn, index + 1)
  if name then
    return index + 1, name, value
  end
end

-- for index, name, value in upvalues(fn)
local function upvalues(fn)
  return next_upvalue, fn, 0
end

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

-- ---- Snapshots: what a file has made, kept as the base of the next merge

local function copy(tbl)
  local result = {}
  for key, value in next, tbl do
    result[key] = value
  end
  return result
end

local function is_reference(value)
  local kind = type(value)
  return kind == "table" or kind == "function"
end

-- Plain data stands for itself. `seen` makes one snapshot of one object; those of tables and of functions are
-- listed in it.
local function snapshot(value, seen)
  if not is_reference(value) then
    return value
  end
  if seen[value] then
    return seen[value]
  end
  local picture = { value = value, kind = type(value), fields = {} }
  seen[value] = picture
  if foreign[value] then
    picture.kind = "foreign"
  elseif picture.kind == "table" then
    seen.tables[#seen.tables + 1] = picture
    for key, field in next, value do
      if not is_reference(key) then
        picture.fields[key] = snapshot(field, seen)
      end
    end
    picture.meta = snapshot(getmetatable(value), seen)
  elseif is_lua_function(value) then
    seen.functions[#seen.functions + 1] = picture
    for index, name, held in upvalues(value) do
      picture.fields[name] = snapshot(held, seen)
    end
  end
  return picture
end

-- Whether a value is still, or again, what the snapshot shows. Functions, coroutines and userdata count as equal
-- by their type: every run of a file makes new ones.
local function same(base, value, seen)
  if not is_reference(base) then
    local opaque = type(base) == "userdata" or type(base) == "thread"
    return rawequal(base, value) or opaque and type(base) == type(value)
  end
  if base.kind == "foreign" then
    return rawequal(base.value, value)
  end
  if base.kind ~= type(value) then
    return false
  end
  if base.kind == "function" or seen[value] then
    return true
  end
  seen[value] = true
  for key, field in next, value do
    if not is_reference(key) and not same(base.fields[key], field, seen) then
      return false
    end
  end
  for key in next, base.fields do
    if rawget(value, key) == nil then
      return false
    end
  end
  return true
end

-- ---- Which new object takes the place of which old one

local mapped -- new table -> live table; the live one stays
local taken  -- live table -> true when it is in `mapped`
local paired -- old function -> new function; the new one stays
local done   -- new tables and functions whose contents have been merged

-- MoonScript's classes, and their method tables, are told by their name.
local function class_name(tbl)
  local class = rawget(tbl, "__class") or tbl
  return type(class) == "table" and rawget(class, "__name") or nil
end

-- @return the live table for a new one that has no place yet, if the old table is free to be it
local function pair_tables(old, new)
  if foreign[new] or foreign[old] or mapped[new] or taken[old] or class_name(old) ~= class_name(new) then
    return mapped[new]
  end
  mapped[new], taken[old] = old, true
  return old
end

local function pair_functions(old, new)
  if is_lua_function(old) and is_lua_function(new) and not paired[old] then
    paired[old] = new
  end
end

-- Pairs an object and what its fields hold.
local function pair_tree(base, new)
  if not is_reference(base) or base.kind ~= type(new) then
    return
  end
  if base.kind == "function" then
    return pair_functions(base.value, new)
  end
  if mapped[new] or pair_tables(base.value, new) ~= base.value then
    return
  end
  for key, field in next, base.fields do
    pair_tree(field, rawget(new, key))
  end
  pair_tree(base.meta, getmetatable(new))
end

-- The locals that functions share, by name; a name for different values is left out.
local function cells_of(functions)
  local cells, ambiguous = {}, {}
  for _, picture in ipairs(functions) do
    for index, name, value in upvalues(picture.value) do
      if cells[name] and not rawequal(cells[name].value, value) then
        ambiguous[name] = true
      end
      cells[name] = { value = value, base = picture.fields[name] }
    end
  end
  for name in next, ambiguous do
    cells[name] = nil
  end
  return cells
end

local function weight(base, seen)
  if not is_reference(base) or base.kind ~= "table" or seen[base] then
    return 0
  end
  seen[base] = true
  local sum = 1
  for _, field in next, base.fields do
    sum = sum + weight(field, seen)
  end
  return sum
end

-- How far the names of the old object and of the new one agree, from 0 to 1.
local function agreement(old_names, new_names)
  local common, all = 0, 0
  for name in next, old_names do
    all = all + 1
    common = common + (new_names[name] and 1 or 0)
  end
  for name in next, new_names do
    all = all + (old_names[name] and 0 or 1)
  end
  return common / all
end

-- Pairs what the file's globals and locals hold. Several names may stand for one object, and the author may have
-- let one of them stand for another: those whose meaning is the clearest come first, and then the larger tables.
local function pair_roots(old, unit, new_globals)
  local roots, names_of = {}, {}
  local function add(name, base, new)
    if is_reference(base) and base.kind == type(new) and base.kind ~= "foreign" then
      roots[#roots + 1] = { name = name, base = base, new = new }
      for _, object in ipairs({ base.value, new }) do
        names_of[object] = names_of[object] or {}
        names_of[object][name] = true
      end
    end
  end
  for name, value in next, new_globals do
    add("global " .. name, old.names[name], value)
  end
  local new_cells = cells_of(unit.functions)
  for name, cell in next, cells_of(old.functions) do
    add(name, cell.base, new_cells[name] and new_cells[name].value)
  end
  for _, root in ipairs(roots) do
    root.agreement = agreement(names_of[root.base.value], names_of[root.new])
    root.weight = weight(root.base, {})
  end
  sort(roots, function(a, b)
    if a.agreement ~= b.agreement then
      return a.agreement > b.agreement
    end
    if a.weight ~= b.weight then
      return a.weight > b.weight
    end
    return a.name < b.name
  end)
  for _, root in ipairs(roots) do
    pair_tree(root.base, root.new)
  end
end

-- ---- The merge

local merge

local function upvalue_index(fn, wanted)
  for index, name, value in upvalues(fn) do
    if name == wanted then
      return index, value
    end
  end
end

-- The new function's locals take over what the old one's hold.
local function merge_locals(old, base, new)
  if done[new] or paired[old] ~= new then
    return
  end
  done[new] = true
  for index, name, value in upvalues(new) do
    local found, live = upvalue_index(old, name)
    if found then
      setupvalue(new, index, merge(live, base and base.fields[name], value))
    end
  end
end

local function merge_function(live, base, new)
  local known = is_reference(base) and base.kind == "function"
  local old = known and base.value or live
  pair_functions(old, new)
  if is_lua_function(old) then
    merge_locals(old, known and base or nil, new)
  end
  if known and not rawequal(live, old) and paired[old] == new then
    return live -- the game has put something else there
  end
  return new
end

-- Data that the base does not know, but the game does, stays the game's.
local function merge_field(live, fields, key, new)
  local before = rawget(live, key)
  if not fields and before ~= nil and not is_reference(new) then
    return
  end
  local after = merge(before, fields and fields[key], new)
  if not rawequal(before, after) then
    rawset(live, key, after)
  end
end

-- @param base snapshot of the live table; nil for none
local function merge_fields(live, base, new)
  if done[new] then
    return
  end
  done[new] = true
  local fields = base and base.fields
  for key, value in next, new do
    -- Functions as keys are new ones in every run.
    if not is_lua_function(key) or not base then
      merge_field(live, fields, mapped[key] or key, value)
    end
  end
  for key, old in next, fields or {} do
    if rawget(new, key) == nil and same(old, rawget(live, key), {}) then
      rawset(live, key, nil)
    end
  end
  local meta, live_meta = getmetatable(new), getmetatable(live)
  if meta and meta ~= live_meta then
    setmetatable(live, merge(live_meta, base and base.meta, meta))
  end
end

local function merge_table(live, base, new)
  local known = is_reference(base) and base.kind == "table"
  local old = known and base.value or live
  local place = mapped[new] or type(old) == "table" and pair_tables(old, new)
  if place == old then
    merge_fields(old, known and base or nil, new)
    if known then
      return live -- not always the old table: what the game has put in its place stays
    end
    return old
  end
  if not known and same(base, new, {}) then
    return live
  end
  return place or new
end

function merge(live, base, new)
  if rawequal(live, new) then
    return live
  end
  if type(new) == "function" and not foreign[new] then
    return merge_function(live, base, new)
  end
  if type(new) == "table" and not foreign[new] then
    return merge_table(live, base, new)
  end
  if same(base, new, {}) then
    return live
  end
  return new
end

-- A local that only functions without a counterpart use now is found by its name, where the file had one of it.
local function carry_moved_locals(old_functions, new_functions)
  local held = {} -- names that are taken care of
  for _, picture in ipairs(new_functions) do
    if done[picture.value] then
      for name in next, picture.fields do
        held[name] = true
      end
    end
  end
  local old_cells, new_cells = cells_of(old_functions), cells_of(new_functions)
  for _, picture in ipairs(new_functions) do
    for index, name, value in upvalues(picture.value) do
      local cell = not held[name] and new_cells[name] and old_cells[name]
      if cell and not match(name, "^_.*_%d+$") then -- those the MoonScript compiler has made up
        setupvalue(picture.value, index, merge(cell.value, cell.base, value))
      end
    end
  end
end

-- Puts new functions and live tables wherever the game holds what they replace.
local function settle()
  local visited, stack = {}, { globals, loaded }
  local function replaced(value)
    if not is_reference(value) then
      return value
    end
    value = mapped[value] or paired[value] or value
    if not visited[value] then
      visited[value] = true
      stack[#stack + 1] = value
    end
    return value
  end
  while #stack > 0 do
    local value = stack[#stack]
    stack[#stack] = nil
    if type(value) == "table" then
      for key, field in next, value do
        local now = replaced(field)
        if now ~= field then
          rawset(value, key, now) -- an existing key: the traversal may go on
        end
        replaced(key)
      end
      local meta = getmetatable(value)
      if meta and replaced(meta) ~= meta then
        setmetatable(value, replaced(meta))
      end
    elseif not foreign[value] and is_lua_function(value) then
      for index, name, held in upvalues(value) do
        local now = replaced(held)
        if not rawequal(now, held) then
          setupvalue(value, index, now)
        end
      end
    end
  end
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

-- Merges what the unit's file has just set into what the game had before.
-- @param old of the unit: what it was before this run
local function take_over(unit, old, before, result)
  mapped, taken, paired, done = {}, {}, {}, {}
  local new = {}
  for name in next, unit.names do
    new[name] = rawget(globals, name)
  end
  for name in next, old.names do
    rawset(globals, name, before[name])
  end
  pair_roots(old, unit, new)
  if is_reference(result) then
    pair_tree(old.result, result)
  end
  for name, value in next, new do
    rawset(globals, name, merge(before[name], old.names[name], value))
  end
  for name, base in next, old.names do
    if new[name] == nil and same(base, before[name], {}) then
      rawset(globals, name, nil)
    end
  end
  if unit.name and result ~= nil then
    loaded[unit.name] = merge(loaded[unit.name], old.result, result)
  end
  carry_moved_locals(old.functions, unit.functions)
  settle()
  for _, picture in ipairs(unit.tables) do
    picture.value = mapped[picture.value] or picture.value
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
  take_over(unit, old, before, result)
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
