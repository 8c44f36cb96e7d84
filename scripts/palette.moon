-- palette: colours from hue, saturation and value, for Lua and MoonScript scripts alike.
palette = {}

-- All arguments 0 to 1, the hue going round; returns r, g, b for Color.
palette.hsv = (h, s = 1, v = 1) ->
  channel = (shift) ->
    t = math.abs((h + shift) % 1 * 6 - 3) - 1
    v * (1 - s + s * math.min 1, math.max 0, t)
  channel(0), channel(2 / 3), channel(1 / 3)

-- Between two {r, g, b} tables.
palette.mix = (a, b, t) ->
  a[1] + (b[1] - a[1]) * t, a[2] + (b[2] - a[2]) * t, a[3] + (b[3] - a[3]) * t

palette
