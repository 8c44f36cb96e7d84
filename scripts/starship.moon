-- An arcade game: clear the rocks, do not touch them, the sky wraps around.
-- Shows: a 2D game on the 2D camera, held keys, sounds, classes and list comprehensions in MoonScript.
hud = require "hud"
keys = require "keys"

LEFT, RIGHT, THRUST, FIRE, START = 1, 2, 3, 4, 5
held = {}
local ship, rocks, shots, sparks, score, lives, level, state
best = 0

-- Anything that drifts. The world is 2 units high and 2 * hud.right wide.
class Body
  new: (@x, @y, @vx, @vy, @size) => @angle, @spin, @age = 0, 0, 0
  step: (delta) =>
    @age += delta
    @angle += @spin * delta
    @x = (@x + @vx * delta + hud.right) % (2 * hud.right) - hud.right
    @y = (@y + @vy * delta + 1) % 2 - 1
  touches: (other) => (@x - other.x) ^ 2 + (@y - other.y) ^ 2 < (@size + other.size) ^ 2

newRock = (x, y, size) ->
  way, speed = math.random! * 2 * math.pi, (0.1 + 0.15 * math.random!) * (1 + level * 0.1) * 0.2 / size
  rock = Body x, y, speed * math.cos(way), speed * math.sin(way), size
  rock.spin = (math.random! - 0.5) * 1.2
  rock

newLevel = ->
  level += 1
  shots = {}
  rocks = for i = 1, 2 + level
    way = math.random! * 2 * math.pi
    newRock 1.1 * math.cos(way), 0.9 * math.sin(way), 0.16

newShip = ->
  channel = ship and ship.channel
  ship = Body 0, 0, 0, 0, 0.06
  ship.channel = channel
  ship.safe = 2 -- seconds without collisions

newGame = ->
  score, lives, level, state = 0, 3, 0, "play"
  sparks = {}
  newShip!
  newLevel!

burst = (x, y, count, speed) ->
  for i = 1, count
    way, v = math.random! * 2 * math.pi, speed * math.random!
    table.insert sparks, Body x, y, v * math.cos(way), v * math.sin(way), 0.03

export Init = ->
  hud.load!
  AddTex "textures/#{name}.png" for name in *{"stars", "moon", "metal", "particle"}
  AddGeom "geom/#{name}.obj" for name in *{"ship", "sphere", "quad"}
  NewGeom "sky" -- a quad with the star texture repeated over it
  TScale 3
  Place "quad", "sky"
  AddAudio "sounds/#{name}.wav" for name in *{"laser", "explosion", "fail", "fanfare", "thrust"}
  SetAmbientColor 0.25, 0.25, 0.3
  BindKey code, raw for code, raw in pairs {[LEFT]: keys.Left, [RIGHT]: keys.Right, [THRUST]: keys.Up, [FIRE]: keys.Space, [START]: keys.Return}
  math.randomseed os.time!
  newGame!
  state = "title"

fire = ->
  return if #shots >= 6
  dx, dy = -math.sin(ship.angle * math.pi), math.cos(ship.angle * math.pi)
  table.insert shots, Body ship.x + dx * 0.06, ship.y + dy * 0.06, ship.vx + dx * 1.3, ship.vy + dy * 1.3, 0.015
  AudioProps Audio("laser"), 0.4, 0.9 + 0.2 * math.random!

-- The engine's rumble: a looping sound keeps its channel until it is stopped.
rumble = (on) ->
  if on
    ship.channel = Audio "thrust"
    AudioProps ship.channel, 0.5, 1, 1
  elseif ship.channel
    StopAudio ship.channel
    ship.channel = nil

export KeyHappen = (key, what) ->
  held[key] = what > 0
  rumble what == 1 if key == THRUST and what != 2
  return if what != 1
  fire! if key == FIRE and state == "play"
  newGame! if key == START and state != "play"

steer = (delta) ->
  turn = (held[LEFT] and 1 or 0) - (held[RIGHT] and 1 or 0)
  ship.angle += turn * 1.3 * delta
  if held[THRUST]
    dx, dy = -math.sin(ship.angle * math.pi), math.cos(ship.angle * math.pi)
    ship.vx, ship.vy = ship.vx + dx * delta * 1.1, ship.vy + dy * delta * 1.1
    table.insert sparks, Body ship.x - dx * 0.06, ship.y - dy * 0.06, ship.vx - dx * 0.6, ship.vy - dy * 0.6, 0.03
  ship.vx, ship.vy = ship.vx * (1 - 0.4 * delta), ship.vy * (1 - 0.4 * delta)
  ship.safe -= delta

-- Breaks rocks that a shot touches; returns what is left of them.
breakRocks = ->
  left = {}
  for rock in *rocks
    for shot in *shots
      rock.broken, shot.age = true, 9 if shot.age < 9 and rock\touches shot
    if rock.broken
      score += math.floor 4 / rock.size
      burst rock.x, rock.y, 20, 0.5
      AudioProps Audio("explosion"), 0.5, 0.05 / rock.size + 0.8
      if rock.size > 0.06
        table.insert left, newRock rock.x, rock.y, rock.size * 0.6 for i = 1, 2
    else
      table.insert left, rock
  left

crash = ->
  burst ship.x, ship.y, 60, 0.9
  Audio "fail"
  lives -= 1
  newShip!
  if lives == 0
    state, best = "over", math.max best, score

play = (delta) ->
  steer delta
  ship\step delta
  shot\step delta for shot in *shots
  rocks = breakRocks!
  shots = [shot for shot in *shots when shot.age < 1]
  for rock in *rocks
    if ship.safe < 0 and ship\touches rock
      crash!
      break
  if #rocks == 0
    Audio "fanfare"
    newLevel!

drawBody = (body, turnX, draw) ->
  -- A small scale makes normals long and surfaces too bright, so the light is dimmed by as much.
  SetLightColor 0, body.size, body.size * 0.95, body.size * 0.85
  Push!
  Move body.x, body.y
  Rotate body.angle
  Rotate 1, 0.3, 0, turnX
  Scale body.size
  draw!
  Pop!

drawRocks = (time) ->
  SetLight 0, -2, 2, 3
  Depth 1
  Blend -1
  Tex "moon"
  Color 1, 0.9, 0.8
  drawBody rock, time * rock.spin, (-> Geom "sphere") for rock in *rocks
  if state == "play" and (ship.safe < 0 or time % 0.2 < 0.1)
    Tex "metal"
    Color 0.7, 0.9, 1
    drawBody ship, 0, ->
      Geom "ship"
  SetLighting 0
  Depth 0

glow = ->
  Tex "particle"
  Blend 1
  for spark in *sparks
    Color 1, 0.7 - spark.age, 0.2, 1 - spark.age
    drawBody spark, 0, Quad
  Color 0.7, 1, 0.8
  for shot in *shots
    drawBody shot, 0, ->
      Scale 2
      Quad!

export Draw = (time, delta) ->
  hud.start!
  rock\step delta for rock in *rocks
  spark\step delta for spark in *sparks
  sparks = [spark for spark in *sparks when spark.age < 0.9]
  play delta if state == "play"
  Tex "stars"
  Color 0.7
  Push!
  Scale hud.right, hud.right, 1
  Geom "sky"
  Pop!
  drawRocks time
  glow!
  hud.help "Starship", "Left, Right: turn   Up: thrust\nSpace: fire   Return: new game"
  hud.print "Score #{score}   Best #{best}", hud.right - 0.06, 0.9, 0.09, -1
  hud.print "Ships #{lives}   Level #{level}", hud.right - 0.06, 0.8, 0.06, -1
  message = title: "Press Return", over: "Game over\nPress Return", play: nil
  hud.print message[state], 0, 0, 0.2, 0 if message[state]
