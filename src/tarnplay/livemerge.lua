-- Merges what a script file makes of its globals, locals and result into what the game has, by three values each:
-- the live one, the base (what the file made of it when it was last run) and the new one.
--
--   functions   the new one, wherever the old one is held; but a variable to which the game itself has assigned
--               another function keeps that one (in its new version)
--   tables      the live table stays and takes over the new fields, each by these rules; metatables likewise
--   coroutines  the live one stays, unless an error has ended it
--   lists       item by item: what the author has added or removed is found by comparing the new list with the
--               base, and then done to the live one, whose own items stay where they are; no holes
--   other data  the live value, unless the author has changed it: then new and base differ, and new wins
--   removed     what the author has taken out goes, unless the game has changed it since
--
-- Locals that functions share go by the same rules, found by their names. Closures that running functions have
-- made before keep their code, and share these locals with the new functions where the Lua in use allows that.
-- Functions and tables that are keys of a table are followed as values are.
local snapshots = ...
local next, type, rawget, rawset, rawequal, ipairs = next, type, rawget, rawset, rawequal, ipairs
local getmetatable, setmetatable, getinfo = debug.getmetatable, debug.setmetatable, debug.getinfo
local getupvalue, setupvalue, getlocal, setlocal = debug.getupvalue, debug.setupvalue, debug.getlocal, debug.setlocal
local upvalueid, upvaluejoin, status, flush = debug.upvalueid, debug.upvaluejoin, coroutine.status, jit and jit.flush
local match, sort, loaded, globals = string.match, table.sort, package.loaded, _G
local getfenv, setfenv, max = getfenv, setfenv, math.max

local foreign, upvalues = snapshots.foreign, snapshots.upvalues
local is_lua_function, is_reference = snapshots.is_lua_function, snapshots.is_reference
local same, is_item, is_place = snapshots.same, snapshots.is_item, snapshots.is_place
local list_length, align, trace = snapshots.list_length, snapshots.align, snapshots.trace

-- ---- Which new object takes the place of which old one

local mapped -- new table -> live table; the live one stays
local taken  -- live table -> true when it is in `mapped`
local paired -- old function -> new function; the new one stays
local origin -- new function -> old function
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
    origin[new] = origin[new] or old
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
  local _, places = align(base, new)
  for key, field in next, base.fields do
    if not places or not is_place(key) then
      pair_tree(field, rawget(new, key))
    end
  end
  for place, old_place in next, places or {} do
    pair_tree(base.fields[old_place], rawget(new, place))
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

-- Such functions as coroutine.wrap makes hold their coroutine as the library's functions hold things: unseen.
local function coroutine_of(value)
  if type(value) == "function" and not is_lua_function(value) then
    local _, held = getupvalue(value, 1)
    return type(held) == "thread" and held or nil
  end
  return type(value) == "thread" and value or nil
end

-- One that has returned has left no function behind.
local function has_failed(value)
  local thread = coroutine_of(value)
  return thread and status(thread) == "dead" and getinfo(thread, 0) ~= nil
end

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
  if not is_lua_function(new) then -- out of sight inside, as coroutines are
    local stays = known and not is_lua_function(old) and not has_failed(live)
    if stays then
      return live
    end
    return new
  end
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

-- Entries whose keys are tables or functions: each run of the file makes new ones of these as well.
local function merge_keyed(live, base, new)
  local known, kept = base and (base.keys or {}), {}
  for key, value in next, new do
    if is_reference(key) then
      key = mapped[key] or origin[key] or key
      kept[key] = true
      merge_field(live, known, key, value)
    end
  end
  for key, old in next, known or {} do
    if not kept[key] and same(old, rawget(live, key), {}) then
      rawset(live, key, nil)
    end
  end
end

-- What the author has added to a list: new items, and those that the game has taken out but the author has changed.
-- @return it, in lists, by the place in the base of the item before it, or 0; then by each place in the base, the
--         place in the new list
local function added_items(fields, new, places, found)
  local added, new_places, before = {}, {}, 0
  for place = 1, list_length(new) do
    local old_place = not places and place or places and places[place]
    if old_place and found[old_place] then
      new_places[old_place], before = place, old_place
    else
      added[before] = added[before] or {}
      added[before][#added[before] + 1] = merge(nil, fields[old_place], rawget(new, place))
    end
  end
  return added, new_places
end

-- Where author and game have left all items in their places.
-- @return whether they have; otherwise nothing has been done
local function merge_in_place(live, fields, new, places, length)
  if places or fields[length + 1] ~= nil then
    return false
  end
  for place = 1, length do
    if not is_item(fields[place], rawget(live, place)) then
      return false
    end
  end
  for place = 1, length do
    merge_field(live, fields, place, rawget(new, place))
  end
  return true
end

-- What the author has removed goes, also from among the game's own items, unless the game has put something else
-- in its place.
-- @return whether all three are lists; otherwise nothing has been done
local function merge_list(live, base, new)
  local fields, length = base.fields, list_length(live)
  local are_lists, places = align(base, new)
  if not are_lists or not length then
    return false
  elseif merge_in_place(live, fields, new, places, length) then
    return true
  end
  local live_places, found = trace(fields, live, length)
  local added, new_places = added_items(fields, new, places, found)
  local result = {}
  local function append_added(place)
    for _, item in ipairs(added[place] or {}) do
      result[#result + 1] = item
    end
  end
  append_added(0)
  for place = 1, length do
    local item, old_place = rawget(live, place), live_places[place]
    if not old_place then
      result[#result + 1] = item
    elseif new_places[old_place] then
      result[#result + 1] = merge(item, fields[old_place], rawget(new, new_places[old_place]))
      append_added(old_place)
    elseif not is_item(fields[old_place], item) then
      result[#result + 1] = item
    end
  end
  for place = 1, max(length, #result) do
    rawset(live, place, result[place])
  end
  return true
end

-- @param base snapshot of the live table; nil for none
local function merge_fields(live, base, new)
  if done[new] then
    return
  end
  done[new] = true
  local fields = base and base.fields
  local is_list = base and merge_list(live, base, new)
  local is_keyed = base and base.keys
  for key, value in next, new do
    if is_reference(key) then
      is_keyed = true
    elseif not (is_list and is_place(key)) then
      merge_field(live, fields, key, value)
    end
  end
  for key, old in next, fields or {} do
    local in_list = is_list and is_place(key)
    if not in_list and rawget(new, key) == nil and same(old, rawget(live, key), {}) then
      rawset(live, key, nil)
    end
  end
  if is_keyed then
    merge_keyed(live, base, new)
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
  if same(base, new, {}) and not has_failed(live) then
    return live
  end
  return new
end

-- A local that only functions without a counterpart use now is found by its name, where the file had one of it.
-- @param lost by name, the locals that earlier versions of the file had
-- @return those of them, and of the old functions, that the new version has not
local function carry_moved_locals(old_functions, new_functions, lost)
  local held = {} -- names that are taken care of
  for _, picture in ipairs(new_functions) do
    if done[picture.value] then
      for name in next, picture.fields do
        held[name] = true
      end
    end
  end
  local old_cells, new_cells = cells_of(old_functions), cells_of(new_functions)
  for name, cell in next, lost do
    old_cells[name] = old_cells[name] or cell
  end
  for _, picture in ipairs(new_functions) do
    for index, name, value in upvalues(picture.value) do
      local cell = not held[name] and new_cells[name] and old_cells[name]
      if cell and not match(name, "^_.*_%d+$") then -- those the MoonScript compiler has made up
        setupvalue(picture.value, index, merge(cell.value, cell.base, value))
      end
    end
  end
  for name in next, new_cells do
    old_cells[name] = nil
  end
  return old_cells
end

-- What closures that are bound to the old functions' locals are to be bound to.
-- @return by the identity of the old local: a new function, and which of its upvalues
local function successors(old_functions)
  local cells = {}
  for _, picture in ipairs(upvalueid and old_functions or {}) do
    local old, new = picture.value, paired[picture.value]
    for index, name in upvalues(old) do
      local at = new and upvalue_index(old, name) == index and upvalue_index(new, name)
      if at then
        cells[upvalueid(old, index)] = { fn = new, index = at }
      end
    end
  end
  return cells
end

-- What a coroutine is doing: its functions stay, what their locals hold may be replaced.
local function settle_coroutine(thread, visit, replaced)
  local level, frame = 0, getinfo(thread, 0, "f")
  while frame do
    visit(frame.func)
    local index, name, held = 1, getlocal(thread, level, 1)
    while name do
      local now = replaced(held)
      if not rawequal(now, held) and not match(name, "^%(") then
        setlocal(thread, level, index, now)
      end
      index = index + 1
      name, held = getlocal(thread, level, index)
    end
    level = level + 1
    frame = getinfo(thread, level, "f")
  end
end

local function settle_upvalues(fn, cells, replaced)
  for index, _, held in upvalues(fn) do
    local cell = upvalueid and cells[upvalueid(fn, index)]
    if cell then
      upvaluejoin(fn, index, cell.fn, cell.index)
      replaced(held)
    else
      local now = replaced(held)
      if not rawequal(now, held) then
        setupvalue(fn, index, now)
      end
    end
  end
  local environment = getfenv(fn)
  if replaced(environment) ~= environment then
    setfenv(fn, replaced(environment))
  end
end

-- The live entry counts, should both keys be there.
local function move_entry(tbl, key, now)
  local held = rawget(tbl, key)
  rawset(tbl, key, nil)
  if type(now) == "function" or rawget(tbl, now) == nil then
    rawset(tbl, now, held)
  end
end

local function settle_table(tbl, replaced)
  local moved -- made when it is needed: there may be many tables
  for key, field in next, tbl do
    local now, key_now = replaced(field), replaced(key)
    if not rawequal(now, field) then
      rawset(tbl, key, now) -- an existing key: the traversal may go on
    end
    if not rawequal(key_now, key) then
      moved = moved or {}
      moved[key] = key_now
    end
  end
  for key, now in next, moved or {} do
    move_entry(tbl, key, now)
  end
  local meta = getmetatable(tbl)
  if meta and replaced(meta) ~= meta then
    setmetatable(tbl, replaced(meta))
  end
end

-- Puts new functions and live tables wherever the game holds what they replace.
local function settle(cells)
  local visited, stack = {}, { globals, loaded }
  local function visit(value)
    if not visited[value] then
      visited[value] = true
      stack[#stack + 1] = value
    end
  end
  local function replaced(value)
    if type(value) == "thread" then
      visit(value)
    elseif is_reference(value) then
      value = mapped[value] or paired[value] or value
      visit(value)
    end
    return value
  end
  while #stack > 0 do
    local value = stack[#stack]
    stack[#stack] = nil
    if type(value) == "table" then
      settle_table(value, replaced)
    elseif coroutine_of(value) then
      settle_coroutine(coroutine_of(value), visit, replaced)
    elseif not foreign[value] and is_lua_function(value) then
      settle_upvalues(value, cells, replaced)
    end
  end
  if flush then
    flush() -- compiled code takes locals that the source never assigns to for constants
  end
end

-- Later merges know the tables of this run as those that stay.
local function settle_snapshots(tables)
  for _, picture in ipairs(tables) do
    picture.value = mapped[picture.value] or picture.value
    local keys = picture.keys and {}
    for key, field in next, picture.keys or {} do
      keys[mapped[key] or key] = field
    end
    picture.keys = keys
  end
end

-- Merges what the unit's file has just set into what the game had before.
-- @param old of the unit: what it was before this run
-- @param before the globals, and what package.loaded held, before this run
local function take_over(unit, old, before, result)
  mapped, taken, paired, origin, done = {}, {}, {}, {}, {}
  local new = {}
  for name in next, unit.names do
    new[name] = rawget(globals, name)
  end
  for name in next, old.names do
    rawset(globals, name, before.globals[name])
  end
  pair_roots(old, unit, new)
  if is_reference(result) then
    pair_tree(old.result, result)
  end
  for name, base in next, old.modules do
    pair_tree(base, loaded[name])
  end
  for name, value in next, new do
    rawset(globals, name, merge(before.globals[name], old.names[name], value))
  end
  for name, base in next, old.names do
    if new[name] == nil and same(base, before.globals[name], {}) then
      rawset(globals, name, nil)
    end
  end
  if unit.name and result ~= nil then
    loaded[unit.name] = merge(loaded[unit.name], old.result, result)
  end
  for name, base in next, old.modules do
    loaded[name] = merge(before.loaded[name], base, loaded[name])
  end
  unit.lost = carry_moved_locals(old.functions, unit.functions, old.lost or {})
  settle(successors(old.functions))
  settle_snapshots(unit.tables)
end

return take_over
