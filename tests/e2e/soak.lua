-- Calls every engine function every frame and tells once a second how much memory the process holds, and how many
-- frames began late: more than 1 ms after the 1/60 s that the one before them has.
-- The test that runs it gives it a script directory of its own.
local functions, called = {}, {}

-- Counts the calls of each engine function, so that none is forgotten.
local function watch()
  for name, value in pairs(_G) do
    if type(value) == "function" and name:match("^%u") and not name:match("^Init$") and name ~= "Draw" and
       name ~= "KeyHappen" and name ~= "OnError" then
      functions[name] = value
    end
  end
  for name, value in pairs(functions) do
    _G[name] = function(...)
      called[name] = true
      return value(...)
    end
  end
end

local function residentKilobytes()
  for line in io.lines("/proc/self/status") do
    local size = line:match("^VmRSS:%s+(%d+)")
    if size then return tonumber(size) end
  end
end

local tone, wave, mesh, from, to, a, b, c

function Init()
  watch()
  AddTex("textures/font.png") AddTex("textures/stone.png") AddTex("textures/missing.png", "walls")
  AddGeom("geom/cube.obj") AddShad("shaders/toon.shad") AddAudio("sounds/blip.wav") AddMusic(0, "music/drift.ogg")
  tone, mesh = GetNewAudio("tone"), NewGeom("copy")
  wave = {}
  for i = 1, 64 do wave[i] = math.sin(i * math.pi / 32) end
  from, to, a, b, c = {0, 2}, {3, -4}, {}, {}, {}
  SetSpaceMapper(1) Set2DSpaceBounds(-5, -5, 5, 5, 4, 4)
  GReset() TReset() GPush() GMove(1) GRotate(0.5) GScale(1, 2, 1) TPush() TMove(0.5) TRotate(0, 0, 1, 1) TScale(2)
  Place("cube", mesh) GPop() TPop()
  Shad("toon") DeclareUniform(0, "steps") DeclareUniform(0, "nothing") Shad(-1)
end

local function drawWorld(time)
  SetCam(3, 60) LookAt(4, 4, 3, 0, 0, 0) SetLighting(1) SetLight(0, 3, 3, 3) SetLightColor(0, 1, 1, 1)
  SetLightAtten(0, 1, 0, 0) SetAmbientColor(0.1, 0.1, 0.1) BackColor(0, 0, 0.2, 1) Culling(1)
  BeginRTTFull() Push() Rotate(time) Tex("stone") Shad("toon") Uniform(0, 3) Geom(mesh) Geom("cube") Shad(-1) Pop()
  EndRTTFull()
  SetLighting(0) Culling(0) SetShadersEnabled(GetShadersEnabled())
end

local function drawOverlay(time)
  Set2DCamScale(1) SetCam(2, 1) Depth(0) Blend(0) Logic(3) Logic(-1) Color(1) DrawLine(0, 0, 0, 1, 1, 0)
  Move(-0.5) Scale(0.1) Text("frame " .. math.floor(time * 60), 0) Text("still", 1, 0.1) Tex(-1) Quad()
  Blend(-1)
end

local function playAndMap(time)
  SetAudioData(tone, wave, 1, 8000, 1)
  assert(#GetAudioData(tone) == 64)
  AudioProps(Audio("blip"), 0.1, 1 + time % 1) StopAudio(Audio(tone))
  Music(0) MusicProps(0, 0.1) StopMusic(0)
  SpaceMapperReset(1) AddSpaceObject("line2d", -4, 0, 4, 0) SpaceEvent("tick")
  MapPoint(from, to, 0.5, a, b, c) MapLine(from, to, 0, a, b) DebugDrawSegments()
  SetNoiseSeed(GetNoise(time, 1, 2))
end

local function askAndSave()
  SetMouseVis(0) SetMouseFree(0) SetVSync(0) TypingMode(0) BindKey(1, 0)
  GetMouseScalar() GetMouseTotal() GetMouseRelative() GetWindowSize()
  SetScreenshotDir(GetScriptsPath() .. GetMediaPath())
  local saved = tonumber(ReadSaveString("soak", "soak.save")) or 0
  WriteSaveString("soak", "soak.save", tostring(saved + 1))
end

local second, frames, late, worst, last = 0, 0, 0, 0

local function timeFrame(time)
  local took = last and time - last or 0
  frames, last, worst = frames + 1, time, math.max(worst, took)
  if took > 1 / 60 + 0.001 then late = late + 1 end
end

function Draw(time)
  timeFrame(time)
  drawWorld(time) drawOverlay(time) playAndMap(time) askAndSave()
  if math.floor(time) > second then
    second = math.floor(time)
    collectgarbage()
    print(("resident %d KB, late %d of %d frames, longest %.1f ms"):format(residentKilobytes(), late, frames, worst * 1000))
    for name in pairs(functions) do assert(called[name], name .. " is not called") end
  end
end
