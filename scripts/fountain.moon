-- A fountain of sparks: hundreds of glowing quads that face the camera, added onto each other.
-- Shows: additive blending, depth test without depth writes, a MoonScript class, mouse-driven camera.
hud = require "hud"
keys = require "keys"
palette = require "palette"

MORE, LESS, BURST, HUE = 1, 2, 3, 4

class Spark
  new: (@hue, power) =>
    angle, spread = math.random! * 2 * math.pi, math.random! * 1.5
    @x, @y, @z = 0, 0, 0.2
    @vx, @vy = spread * math.cos(angle), spread * math.sin(angle)
    @vz = power * (4.6 + math.random!)
    @age, @life = 0, 1.6 + math.random!

  step: (delta) =>
    @age += delta
    @vz -= 5 * delta
    @x, @y, @z = @x + @vx * delta, @y + @vy * delta, @z + @vz * delta
    if @z < 0 and @vz < 0 -- bounce off the floor
      @z, @vz = -@z, -0.45 * @vz
    @age < @life

sparks, rate, owed, hue = {}, 240, 0, 0.55

export Init = ->
  hud.load!
  AddTex "textures/particle.png"
  AddTex "textures/stone.png"
  BackColor 0.01, 0.01, 0.03, 1
  BindKey MORE, keys.Up
  BindKey LESS, keys.Down
  BindKey BURST, keys.Space
  BindKey HUE, keys.H

export KeyHappen = (key, state) ->
  return if state == 0
  switch key
    when MORE then rate = math.min 600, rate + 30
    when LESS then rate = math.max 0, rate - 30
    when HUE then hue = (hue + 0.11) % 1
    when BURST
      for i = 1, 150
        sparks[#sparks + 1] = Spark hue + 0.5, 1.25

update = (delta) ->
  owed += rate * delta
  while owed >= 1
    owed -= 1
    sparks[#sparks + 1] = Spark hue + math.random! * 0.15, 1
  sparks = [spark for spark in *sparks when spark\step delta]

floor = ->
  Tex "stone"
  Color 0.22, 0.22, 0.32
  Push!
  Scale 4.5
  Quad!
  Pop!

-- Draws every spark turned towards a camera at the given turn (in radians). mirror -1 is the reflection.
glow = (turn, mirror, strength) ->
  for spark in *sparks
    r, g, b = palette.hsv spark.hue + spark.age * 0.12, 0.75
    Color r, g, b, strength * (1 - spark.age / spark.life)
    Push!
    Move spark.x, spark.y, spark.z * mirror
    Rotate turn / math.pi
    Rotate 1, 0, 0, 0.5
    Scale 0.16
    Quad!
    Pop!

export Draw = (time, delta) ->
  update delta
  mouseX = GetMouseTotal!
  turn = time * 0.15 - mouseX * 3
  SetCam 3, 50
  LookAt 6.5 * math.sin(turn), -6.5 * math.cos(turn), 2.6, 0, 0, 1.3
  SetLighting 0
  Culling 0
  Depth 1
  floor!
  Blend 1
  Tex "particle"
  Depth 0 -- the reflection lies below the floor and shines through it
  glow turn, -1, 0.25
  Depth 1, 0
  glow turn, 1, 1
  hud.help "Fountain", "Up, Down: more or fewer sparks   Space: burst\nH: colour   mouse: look around"
  hud.print "#{#sparks} sparks", 0, -0.9, 0.07, 0
