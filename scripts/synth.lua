-- A small synthesiser: two rows of the keyboard are the piano, and the sound is what you choose.
-- Shows: GetNewAudio, SetAudioData and GetAudioData, volume and pitch of a playing sound.
local hud = require "hud"
local keys = require "keys"

local RATE = 22050
-- The piano: raw key, semitones above C, whether it is a black key.
local piano = {
  { "A", 0 }, { "W", 1, true }, { "S", 2 }, { "E", 3, true }, { "D", 4 }, { "F", 5 }, { "T", 6, true }, { "G", 7 },
  { "Y", 8, true }, { "H", 9 }, { "U", 10, true }, { "J", 11 }, { "K", 12 }, { "O", 13, true }, { "L", 14 },
}

-- Waves: functions of the phase 0 to 1 and the time since the key went down.
local waves = {
  { "organ", function(p, t)
    local w = p * 2 * math.pi
    return (math.sin(w) + 0.5 * math.sin(2 * w) + 0.35 * math.sin(3 * w) + 0.2 * math.sin(6 * w)) * 0.5 * math.exp(-1.5 * t)
  end },
  { "square", function(p, t) return (p < 0.5 and 0.5 or -0.5) * math.exp(-3 * t) end },
  { "saw", function(p, t) return (p - 0.5) * math.exp(-3 * t) end },
  { "bell", function(p, t)
    local w = p * 2 * math.pi
    return math.sin(w + 3 * math.exp(-4 * t) * math.sin(3.5 * w)) * 0.7 * math.exp(-2.5 * t)
  end },
}

local wave, volume, octave = 1, 0.6, 0
local voices, scope, down = {}, {}, {}
local WAVE, LOUDER, SOFTER, HIGHER, LOWER = 101, 102, 103, 104, 105

-- One sound item for each piano key, filled anew whenever the wave changes.
local function fill()
  local shape = waves[wave][2]
  for i, note in ipairs(piano) do
    local hertz, samples = 261.63 * 2 ^ (note[2] / 12), {}
    for n = 1, RATE * 1.5 do
      local t = n / RATE
      samples[n] = shape((t * hertz) % 1, t) * math.min(1, t * 200) * math.min(1, (1.5 - t) * 20)
    end
    SetAudioData(voices[i], samples, 1, RATE, 1)
  end
  -- Read one sound back for the picture: a window of it as points.
  local data = GetAudioData(voices[1])
  for n = 1, 300 do scope[n] = data[600 + n] end
end

function Init()
  hud.load()
  BackColor(0.07, 0.06, 0.1, 1)
  for i, note in ipairs(piano) do
    voices[i] = GetNewAudio("piano" .. i)
    BindKey(i, keys[note[1]])
  end
  fill()
  BindKey(WAVE, keys.Space)
  BindKey(LOUDER, keys.Up)
  BindKey(SOFTER, keys.Down)
  BindKey(HIGHER, keys.Right)
  BindKey(LOWER, keys.Left)
end

function KeyHappen(key, state, time)
  if piano[key] then
    if state == 1 then
      local channel = Audio(voices[key])
      AudioProps(channel, volume, 2 ^ octave)
      down[key] = { since = time, channel = channel }
    elseif state == 0 then
      if down[key] then AudioProps(down[key].channel, volume * 0.25, 2 ^ octave) end -- let go: the rest is soft
      down[key] = nil
    end
  elseif state > 0 then
    if key == WAVE then
      wave = wave % #waves + 1
      fill()
    end
    if key == LOUDER then volume = math.min(1, volume + 0.1) end
    if key == SOFTER then volume = math.max(0, volume - 0.1) end
    if key == HIGHER then octave = math.min(1, octave + 1) end
    if key == LOWER then octave = math.max(-1, octave - 1) end
  end
end

local function drawPiano(time)
  local white = -1
  local places = {}
  for i, note in ipairs(piano) do
    if not note[3] then white = white + 1 end
    places[i] = (white - 4 + (note[3] and 0.5 or 0)) * 0.23
  end
  for _, black in ipairs { false, true } do
    for i, note in ipairs(piano) do
      if (note[3] or false) == black then
        local y = black and -0.25 or -0.4
        if black then Color(0.08, 0.08, 0.1) else Color(0.93) end
        if down[i] then Color(0.3, 0.7 + 0.3 * math.exp(-4 * (time - down[i].since)), 1) end
        hud.box(places[i], y, black and 0.065 or 0.105, black and 0.2 or 0.35)
        if not black and not down[i] then Color(0.2, 0.2, 0.3) else Color(1) end
        Push()
        Move(places[i], black and -0.38 or -0.67)
        Scale(0.08)
        Text(note[1], 0)
        Pop()
      end
    end
  end
end

local function drawScope()
  Color(0.4, 1, 0.6)
  for n = 1, #scope - 1 do
    local x = (n / #scope - 0.5) * 2
    DrawLine(x, 0.4 + scope[n] * 0.25, 0, x + 2 / #scope, 0.4 + scope[n + 1] * 0.25, 0)
  end
end

function Draw(time)
  hud.start()
  drawScope()
  drawPiano(time)
  hud.help("Synth: " .. waves[wave][1], ("A to L: play   Space: other wave\nUp, Down: volume %.1f   Left, Right: octave %+d"):format(volume, octave))
end
