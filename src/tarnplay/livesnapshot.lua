-- Snapshots: what a script file has made, kept as the base of the next merge, and what has become of it since.
-- Lists are compared item by item.
local next, type, rawget, rawequal, pcall, ipairs = next, type, rawget, rawequal, pcall, ipairs
local getmetatable, getinfo, getupvalue, dump = debug.getmetatable, debug.getinfo, debug.getupvalue, string.dump

local foreign = {} -- tables and functions that were there before the game

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
      if is_reference(key) then
        picture.keys = picture.keys or {}
        picture.keys[key] = snapshot(field, seen)
      else
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

local function same_data(base, value)
  local opaque = type(base) == "userdata" or type(base) == "thread"
  return rawequal(base, value) or opaque and type(base) == type(value)
end

-- Whether a value is still, or again, what the snapshot shows. Functions, coroutines and userdata count as equal
-- by their type: every run of a file makes new ones.
local function same(base, value, seen)
  if not is_reference(base) then
    return same_data(base, value)
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

-- ---- Lists

local reach = 64          -- items among which the place is looked for where a list goes on after an edit
local fields_in_view = 32 -- of an item, when it is compared with others

-- @return how many items a table holds from 1 on; nil when there are others after a hole
local function list_length(fields)
  local length = 0
  while rawget(fields, length + 1) ~= nil do
    length = length + 1
  end
  for key in next, fields do
    if type(key) == "number" and (key > length or key % 1 ~= 0) then
      return nil
    end
  end
  return length
end

local function is_place(key)
  return type(key) == "number" and key >= 1
end

local function same_code(a, b)
  local dumped_a, code_a = pcall(dump, a, true)
  local dumped_b, code_b = pcall(dump, b, true)
  return dumped_a == dumped_b and (not dumped_a or code_a == code_b)
end

-- for key, field in in_view(fields)
local function in_view(fields)
  local left = fields_in_view
  return function(_, key)
    left = left - 1
    if left >= 0 then
      return next(fields, key)
    end
  end
end

-- Whether two tables have the same data in the fields that are looked at.
local function alike_fields(base, value)
  for key, field in in_view(base.fields) do
    local other = rawget(value, key)
    local differs = not is_reference(field) and not same_data(field, other)
    if differs or is_reference(field) ~= is_reference(other) then
      return false
    end
  end
  for key in in_view(value) do
    if not is_reference(key) and base.fields[key] == nil then
      return false
    end
  end
  return true
end

local function is_table(base)
  return is_reference(base) and base.kind == "table"
end

-- Whether a new item may be the one that the base shows. A look at its fields and theirs has to do: items may lead to
-- all others.
local function alike(base, value)
  if is_reference(base) and base.kind == "function" then
    return type(value) == "function" and same_code(base.value, value)
  elseif not is_table(base) or type(value) ~= "table" then
    return same(base, value, {})
  elseif not alike_fields(base, value) then
    return false
  end
  for key, field in in_view(base.fields) do
    local inner = rawget(value, key)
    if is_table(field) and (type(inner) ~= "table" or not alike_fields(field, inner)) then
      return false
    end
  end
  return true
end

-- @return how many items of the base, and how many of the new list, come before the next that they share
local function next_shared(fields, new, at, new_at)
  for distance = 0, reach do
    local old_item, new_item = fields[at + distance], rawget(new, new_at + distance)
    if old_item ~= nil and alike(old_item, rawget(new, new_at)) then
      return distance, 0
    end
    if new_item ~= nil and alike(fields[at], new_item) then
      return 0, distance
    end
  end
  return 0, 0 -- changed
end

-- What the author has done to a list. Where its length is the same, items have been changed at most.
-- @return whether both are lists; then, by the place in the new list, the place in the base: none for items that were
--         added, nil when all are in their places
local function align(base, new)
  local fields, places = base.fields, {}
  local length, new_length = list_length(fields), list_length(new)
  if not length or not new_length then
    return false
  elseif length == new_length then
    return true
  end
  local at, new_at = 1, 1
  while at <= length and new_at <= new_length do
    local removed, added = next_shared(fields, new, at, new_at)
    at, new_at = at + removed, new_at + added
    places[new_at] = at
    at, new_at = at + 1, new_at + 1
  end
  return true, places
end

-- The item itself and no other that is like it.
local function is_item(base, value)
  if is_reference(base) then
    return rawequal(base.value, value)
  end
  return same_data(base, value)
end

-- By the item: its first place in the base; and by each place, the next one with the same item.
local function index_items(fields, length, found)
  local first, following = {}, {}
  for place = length, 1, -1 do
    local item = fields[place]
    item = is_reference(item) and item.value or item
    if item == item and not found[place] then
      first[item], following[place] = place, first[item]
    end
  end
  return first, following
end

-- What the game has done to a list.
-- @return by the place in the live list, the place in the base of the item, or of that which the game has put
--         something else in the place of; none for items of the game's own. Then the places that were found
local function trace(fields, live, length)
  local places, found, strays = {}, {}, {}
  local old_length = list_length(fields)
  local function find(place, old_place)
    if old_place and old_place <= old_length and not found[old_place] then
      places[place], found[old_place] = old_place, true
    end
  end
  for place = 1, length do
    if is_item(fields[place], rawget(live, place)) then
      places[place], found[place] = place, true
    else
      strays[#strays + 1] = place
    end
  end
  local first, following = index_items(fields, #strays > 0 and old_length or 0, found)
  for _, place in ipairs(strays) do
    local old_place = first[rawget(live, place)]
    while old_place and found[old_place] do
      old_place = following[old_place]
    end
    find(place, old_place)
  end
  for _, place in ipairs(strays) do
    if not places[place] then
      find(place, place)
    end
  end
  return places, found
end

return {
  foreign = foreign,
  is_lua_function = is_lua_function,
  is_reference = is_reference,
  upvalues = upvalues,
  copy = copy,
  snapshot = snapshot,
  same = same,
  is_item = is_item,
  is_place = is_place,
  list_length = list_length,
  align = align,
  trace = trace,
}
