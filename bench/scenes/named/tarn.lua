-- A script's frame that uses 1,000 textures, shaders, sounds, meshes and texts by name, in ms, and each kind by
-- itself. Meshes and texts are drawn outside the view, so that what is measured is finding them.
-- args: --frames 1
local COUNT = 1000
local names, texts = {}, {}

local function write(name, text)
  local file = assert(io.open(name, "wb"))
  file:write(text)
  file:close()
end

local function eachName(use)
  for i = 1, COUNT do use(names[i], "item") end
end

local kinds = {
  {"textures", function() eachName(Tex) Tex(-1) end},
  {"shaders", function() eachName(Shad) Shad(-1) end},
  {"sounds", function() eachName(Audio) end},
  {"meshes", function() eachName(Geom) end},
  {"texts", function() for i = 1, COUNT do Text(texts[i]) end end},
}

local function all()
  for i = 1, COUNT do
    local name = names[i]
    Tex(name, "item")
    Shad(name, "item")
    Shad(-1)
    Audio(name, "item")
    Geom(name, "item")
    Text(texts[i])
  end
end

-- The best of some frames.
local function measure(case, frame)
  local best = math.huge
  for _ = 1, 25 do
    local start = os.clock()
    frame()
    best = math.min(best, os.clock() - start)
  end
  print(string.format("result %s %.3f", case, best * 1000))
end

function Init()
  AddTex("textures/font.png")
  write("item.tga", "\0\0\2" .. ("\0"):rep(9) .. "\1\0\1\0\32\0" .. "\255\0\0\255")
  write("item.shad", "#SECTION VERTEX\nvoid main() { gl_Position = ftransform(); }\n" ..
                     "#SECTION FRAGMENT\nvoid main() { gl_FragColor = vec4(1.0); }\n")
  write("item.obj", "o item_1\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvn 0 0 1\nf 1/1/1 2/1/1 3/1/1\n")
  local samples = {}
  for i = 1, 2205 do samples[i] = 0.1 end
  for i = 1, COUNT do
    names[i] = ("room %d"):format(i * 7919 % 100003)
    texts[i] = ("score %d"):format(i)
    AddTex("../item.tga", names[i])
    AddShad("../item.shad", names[i])
    AddGeom("../item.obj", names[i])
    SetAudioData(GetNewAudio("item", names[i]), samples, 1, 44100, 1)
  end
  Move(1000)
  for _, kind in ipairs(kinds) do kind[2]() end
  for _, ending in ipairs({"tga", "shad", "obj"}) do os.remove("item." .. ending) end
end

function Draw()
  SetCam(2, 1)
  Move(1000)
  measure("a frame", all)
  for _, kind in ipairs(kinds) do measure(kind[1], kind[2]) end
  print("check items " .. COUNT)
end
