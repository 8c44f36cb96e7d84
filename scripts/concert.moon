-- Sounds in space: you sit in the middle, four instruments stand around you, and one follows the mouse.
-- Shows: looping channels with volume, pitch and position, streamed music and its properties.
hud = require "hud"
keys = require "keys"
palette = require "palette"

LOUDER, SOFTER, FASTER, SLOWER, MUSIC, BELL, DRONE = 1, 2, 3, 4, 5, 6, 7
-- Positions are metres from the listener: x to the right, z to the back.
players = {
  { name: "bell", x: -4, z: -3, every: 2.4, hue: 0.12 }
  { name: "pluck", x: 4, z: -3, every: 1.2, hue: 0.35 }
  { name: "bounce", x: -4, z: 3, every: 0.6, hue: 0.6 }
  { name: "click", x: 4, z: 3, every: 0.3, hue: 0.85 }
}
music = volume: 0.5, pitch: 1, playing: true
drone = x: 0, z: -2, channel: -1
SCALE = 0.13 -- screen units per metre

setMusic = ->
  MusicProps 0, music.volume, music.pitch, 1, 0, 0, 0

export Init = ->
  hud.load!
  AddTex "textures/#{name}.png" for name in *{"particle", "wood"}
  for player in *players
    AddAudio "sounds/#{player.name}.wav", "players"
  AddAudio "sounds/drone.wav", "players"
  AddMusic 0, "music/drift.ogg"
  setMusic!
  Music 0
  SetMouseFree 1 -- the pointer moves freely, so that GetMouseScalar follows it
  SetMouseVis 1
  BackColor 0.05, 0.04, 0.06, 1
  bindings = {[LOUDER]: keys.Up, [SOFTER]: keys.Down, [FASTER]: keys.Right, [SLOWER]: keys.Left, [MUSIC]: keys.M, [BELL]: keys.Space, [DRONE]: keys.MouseLeft}
  BindKey code, raw for code, raw in pairs bindings

play = (player, time) ->
  player.last = time
  AudioProps Audio("players", player.name), 1, 0.9 + 0.2 * math.random!, 0, player.x, 0, player.z

toggleDrone = ->
  if drone.channel >= 0
    StopAudio drone.channel
    drone.channel = -1
  else
    drone.channel = Audio "players", "drone"

export KeyHappen = (key, state, time) ->
  return if state == 0
  switch key
    when LOUDER then music.volume = math.min 1, music.volume + 0.05
    when SOFTER then music.volume = math.max 0, music.volume - 0.05
    when FASTER then music.pitch = math.min 2, music.pitch + 0.05
    when SLOWER then music.pitch = math.max 0.5, music.pitch - 0.05
    when BELL then play players[1], time
    when DRONE then toggleDrone! if state == 1
    when MUSIC
      music.playing = not music.playing
      if music.playing then Music 0 else StopMusic 0
  setMusic!

dot = (x, z, size, hue, strength) ->
  r, g, b = palette.hsv hue, 0.7
  Color r, g, b, strength
  hud.box x * SCALE, -z * SCALE, size, size

export Draw = (time) ->
  hud.start!
  mouseX, mouseY = GetMouseScalar!
  drone.x, drone.z = mouseX / SCALE, -mouseY / SCALE
  if drone.channel >= 0
    AudioProps drone.channel, 0.7, 1, 1, drone.x, 0, drone.z
  for player in *players
    play player, time if time - (player.last or -player.every) >= player.every
  Tex "wood"
  Color 0.25
  hud.box 0, 0, 0.85, 0.6
  Tex "particle"
  Blend 1
  dot 0, 0, 0.12, 0.1, 0.5
  for player in *players
    age = time - player.last
    dot player.x, player.z, 0.1 + 0.25 * math.min(1, age), player.hue, math.exp -3 * age
    dot player.x, player.z, 0.07, player.hue, 1
  dot drone.x, drone.z, 0.12 + 0.03 * math.sin(time * 25), 0.5, drone.channel >= 0 and 1 or 0.3
  Blend 0
  hud.print player.name, player.x * SCALE, -player.z * SCALE - 0.1, 0.06, 0 for player in *players
  hud.print "you", 0, -0.1, 0.06, 0
  hud.help "Concert", "Up, Down: music volume   Left, Right: its pitch   M: music on and off\nSpace: bell   click: a drone that follows the mouse"
  hud.print string.format("music %s   volume %.2f   pitch %.2f", music.playing and "on" or "off", music.volume, music.pitch), 0, -0.88, 0.07, 0
