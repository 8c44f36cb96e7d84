-- A small solar system: planets around a sun, moons around planets, each in the space of its parent.
-- Shows: the matrix stack (Push, Pop, Move, Rotate, Scale), a light at the sun, lines, a star field.
hud = require "hud"
keys = require "keys"

NEAR, FAR, FASTER, SLOWER = 1, 2, 3, 4

-- distance from the parent, size, years per minute, texture, colour, moons
sun = {
  name: "Sun", distance: 0, size: 1.1, speed: 0, texture: "lava", color: {1, 0.9, 0.6}
  moons: {
    { name: "Cinder", distance: 2, size: 0.18, speed: 0.5, texture: "moon", color: {1, 0.8, 0.6}, moons: {} }
    { name: "Dune", distance: 3, size: 0.32, speed: 0.3, texture: "sand", color: {1, 0.9, 0.8}, moons: {} }
    {
      name: "Haven", distance: 4.4, size: 0.42, speed: 0.19, texture: "planet", color: {1, 1, 1}
      moons: {{ name: "Lantern", distance: 0.85, size: 0.11, speed: 1.4, texture: "moon", color: {1, 1, 1}, moons: {} }}
    }
    {
      name: "Goliath", distance: 7, size: 0.85, speed: 0.09, texture: "gasgiant", color: {1, 1, 1}
      moons: {
        { name: "Ember", distance: 1.3, size: 0.12, speed: 1.1, texture: "lava", color: {1, 0.8, 0.7}, moons: {} }
        { name: "Frost", distance: 1.75, size: 0.16, speed: 0.7, texture: "snow", color: {0.8, 0.9, 1}, moons: {} }
      }
    }
    { name: "Pearl", distance: 9.2, size: 0.4, speed: 0.05, texture: "water", color: {0.8, 1, 1}, moons: {} }
  }
}

focus, speed, clock = 3, 1, 20
eye = {0, 0, 0}

export Init = ->
  hud.load!
  AddTex "textures/#{name}.png" for name in *{"lava", "moon", "sand", "planet", "gasgiant", "snow", "water", "stars", "particle"}
  AddGeom "geom/sphere.obj"
  -- The sky: the same sphere with the star texture repeated over it.
  NewGeom "sky"
  TScale 10, 5
  Place "sphere", "sky"
  TReset!
  BackColor 0, 0, 0, 1
  SetAmbientColor 0.13, 0.13, 0.17
  BindKey NEAR, keys.Left
  BindKey FAR, keys.Right
  BindKey FASTER, keys.Up
  BindKey SLOWER, keys.Down

export KeyHappen = (key, state) ->
  return if state == 0
  switch key
    when NEAR then focus = (focus - 1) % (#sun.moons + 1)
    when FAR then focus = (focus + 1) % (#sun.moons + 1)
    when FASTER then speed = math.min 16, speed * 1.5
    when SLOWER then speed = math.max 0.05, speed / 1.5

-- The path of a body around its parent, which is the origin of the current matrix.
ring = (radius) ->
  Tex -1
  SetLighting 0
  Color 0.2, 0.25, 0.4
  for i = 0, 63
    a, b = i * math.pi / 32, (i + 1) * math.pi / 32
    DrawLine radius * math.cos(a), radius * math.sin(a), 0, radius * math.cos(b), radius * math.sin(b), 0
  SetLighting 1

draw = (body) ->
  ring body.distance if body.distance > 0
  Push!
  Rotate 2 * body.speed * clock
  Move body.distance, 0, 0
  Rotate -2 * body.speed * clock -- keep the axes; only the place goes round
  Push!
  Rotate 1, 0, 0, 0.12
  Rotate clock * 0.5
  Scale body.size
  Tex body.texture
  Color body.color[1], body.color[2], body.color[3]
  SetLighting body == sun and 0 or 1
  -- A small scale makes normals long and surfaces too bright, so the light is dimmed by as much.
  SetLightColor 0, 1.2 * body.size, 1.1 * body.size, body.size
  Geom "sphere"
  Pop!
  draw moon for moon in *body.moons
  Pop!

-- Where a planet stands, for the camera.
place = (body) ->
  angle = 2 * math.pi * body.speed * clock
  body.distance * math.cos(angle), body.distance * math.sin(angle)

export Draw = (time, delta) ->
  clock += delta * speed
  body = focus == 0 and sun or sun.moons[focus]
  x, y = place body
  eye[1] += (x - eye[1]) * math.min 1, delta * 4
  eye[2] += (y - eye[2]) * math.min 1, delta * 4
  mouseX, mouseY = GetMouseTotal!
  turn = -1.1 - mouseX * 3
  reach = focus == 0 and 14 or 3 + body.size * 4
  SetCam 3, 50
  LookAt eye[1] + reach * math.sin(turn), eye[2] - reach * math.cos(turn), reach * (0.45 - mouseY), eye[1], eye[2], 0

  SetLighting 0 -- the star field: a sphere seen from inside
  Culling 0
  Depth 0
  Tex "stars"
  Color 0.8
  Push!
  Move eye[1], eye[2], 0
  Scale 60
  Geom "sky"
  Pop!

  Depth 1
  Culling 1
  SetLight 0, 0, 0, 0
  draw sun

  SetLighting 0 -- the glow of the sun, always towards the camera
  Culling 0
  Blend 1
  Depth 1, 0
  Tex "particle"
  Color 1, 0.6, 0.2, 0.6
  Push!
  Rotate turn / math.pi
  Rotate 1, 0, 0, 0.5
  Scale 3.2
  Quad!
  Pop!
  hud.help "Orrery", "Left, Right: visit another planet   mouse: look around\nUp, Down: time runs faster or slower"
  hud.print body.name, 0, -0.88, 0.1, 0
