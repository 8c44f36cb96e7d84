config = size: {w: 1}, list: {{n: 1}, {}}
class Base
  new: (@name, @items = {}) =>
  move: (dx) =>
    @x += dx --!1
  label: => "#{@name} has #{@bag.size} things" --!2
  kind: (mode) =>
    switch mode
      when "busy"
        @task.name --!3
      when config.none.key then "other" --!4
  @make: (name) => @build name --!5
class Derived extends Base
  count: => [item.label.text for item in *config.list] --!6
  pairs: => {k, v.deep.er for k, v in pairs {a: 1}} --!7
  up: => super\up 1 --!8
  fill: =>
    with @items
      .first = 1
      .second = .none.q --!9
  total: (sum = 0) =>
    for item in *config.list
      sum += item.n --!10
    sum
  must: (what) =>
    error "wanted #{what}" unless @[what] --!11
    @[what]
counter = (step, total = 0) ->
  ->
    total += step --!12
    total
add = (a) -> (b) -> (c) -> a + b + c --!13
sum = (...) ->
  total = 0
  for n in *{...}
    total += n --!14
  total
check = (v) ->
  error "bad value", 2 unless v
  v
user = (v) ->
  check v --!15
  v
nested = (n, i = 0) ->
  for i = 1, n
    y = "at " .. undefined_thing if i == 4 --!16
  while i < 10
    i += 1
    z = i + nothing --!17
build = (v) ->
  {
    name: "nested"
    third: v.width.more --!18
    list: {
      1
      v.depth + 1 --!19
    }
  }
call = (v) ->
  r = sum 1,
    v.two, --!20
    3
  r
choose = (v) ->
  r = if v > 3 --!21
    "big"
  elseif v.kind == 2 --!22
    "two"
  r
split = (v) ->
  {x: {y: z}} = v --!23
  z
sorted = (list) ->
  table.sort list, (a, b) ->
    a.weight < b.weight --!24
decorate = (f) -> (...) -> f ...
guarded = decorate (a) ->
  print config.list, a.b.c --!25
loops = (a, what) ->
  switch what
    when 1
      print i for i = 1, a.n --!26
    when 2
      for v in *a.list --!27
        print v
    when 3
      while a.next.value --!28
        a = a.next
    else
      error "no loop #{what}" --!29
update = (t) ->
  t.a or= {}
  t.a.count -= 1 --!30
deep = (n) ->
  n.x.y = 1 if n == 0 --!31
  deep(n - 1) + 1
resumed = ->
  co = coroutine.create (a) ->
    coroutine.yield a
    a.c.d = 1 --!32
  coroutine.resume co, {}
  assert coroutine.resume co
wrapped = ->
  f = coroutine.wrap -> #config.nowhere --!33
  f! + 1
depth = (n) -> 1 + depth n.inner --!34
bad_argument = -> table.insert nil, 1 --!35
thrown = -> error {code: 5} --!36
asserted = (a) -> assert a, "wanted an a" --!37
text = (s) -> s\nothing! --!38
multi = (v) ->
  a, b = v.a, v.b
  c, d = a.c, b.d --!39
sliced = (v) -> [x for x in *v[2,4]] --!40
block = (b) ->
  r = do
    b! --!41
ordered = (a, b) -> a <= b --!42
d = Derived "d"
{
  (-> d\move 1), (-> d\label!), (-> d\kind "busy"), (-> d\kind 1), (-> Base\make "x"), (-> d\count!), (-> d\pairs!)
  (-> d\up!), (-> d\fill!), (-> d\total!), (-> d\must "hp"), counter({}), (-> add(1)(2) nil), (-> sum 1, {})
  (-> user nil), (-> nested 4), (-> nested 1), (-> build {}), (-> build width: {}), (-> call nil), (-> choose nil)
  (-> choose 1), (-> split {}), (-> sorted {{weight: 1}, {}, {weight: 2}}), (-> guarded {}), (-> loops {}, 1)
  (-> loops {}, 2), (-> loops {}, 3), (-> loops {}, 4), (-> update {}), (-> deep 9), resumed, wrapped, (-> depth {})
  bad_argument, thrown, (-> asserted nil), (-> text "s"), (-> multi {a: {}}), (-> sliced nil), block
  (-> ordered {}, 1)
}
