# Makes the table of results out of samples. Input files, in this order: goals; then samples, one a line,
#   ROW <tab> SIDE <tab> MEASURE <tab> VALUE            of whole programs (MEASURE may end with a case)
# or what Google Benchmark writes as JSON (then the file is named ROW_bench.json).
# Output: CSV. Ends with status 1 when two sides of a row disagree in a check or a bench reports an error.
#
# In-process benches tell the sides apart in one of two ways: a part of the benchmark's name, between slashes, is
# "tarn" for the engine and the peer's name for the peer; or counters are called X and peer_X (and "ratio"). The
# variable "peers" names the peer of such rows: "ROW NAME ROW NAME ...".

BEGIN {
    words = split(peers, word, " ")
    for (i = 1; i < words; i += 2) peerName[word[i]] = word[i + 1]
}

function trim(s) { gsub(/^[ \t]+|[ \t]+$/, "", s); return s }

function median(text,    v, n, i, j, x) {
    n = split(text, v, " ")
    for (i = 2; i <= n; ++i) {
        x = v[i] + 0
        for (j = i - 1; j > 0 && v[j] + 0 > x; --j) v[j + 1] = v[j]
        v[j + 1] = x
    }
    return n % 2 ? v[(n + 1) / 2] + 0 : (v[n / 2] + v[n / 2 + 1]) / 2
}

# A value with three digits that count, at least.
function short(x) { return x >= 100 ? sprintf("%.0f", x) : x >= 10 ? sprintf("%.1f", x) : sprintf("%.3g", x) }

# Whether a pattern, which may end with *, covers a text.
function fits(pattern, text,    n) {
    n = length(pattern)
    return substr(pattern, n) == "*" ? substr(text, 1, n - 1) == substr(pattern, 1, n - 1) : pattern == text
}

function findGoal(row, item, measure,    i) {
    for (i = 1; i <= goals; ++i)
        if (goalRow[i] == row && fits(goalCase[i], item) && fits(goalMeasure[i], measure)) return i
    return 0
}

# Keeps the sample; rows, cases and measures keep the order in which they came.
function add(row, item, side, measure, value,    line) {
    gsub(/,/, ";", item) # commas separate the columns
    line = row SUBSEP item SUBSEP measure
    if (!(line in known)) { known[line] = 1; lines[++lineCount] = line }
    if (!((line, side) in samples)) sides[line] = sides[line] (sides[line] ? "\t" : "") side
    samples[line, side] = samples[line, side] " " value
    count[line, side]++
}

function fileName(path) { sub(/.*\//, "", path); return path }

FILENAME != lastFile { lastFile = FILENAME; fileIndex++; json = FILENAME ~ /\.json$/; inList = 0 }

fileIndex == 1 {
    if ($0 ~ /^#/ || NF == 0) next
    split($0, part, "|")
    ++goals
    goalRow[goals] = trim(part[1]); goalCase[goals] = trim(part[2]); goalMeasure[goals] = trim(part[3])
    goalUnit[goals] = trim(part[4]); goalText[goals] = trim(part[5]); goalWhat[goals] = trim(part[6])
    gsub(/,/, ";", goalWhat[goals])
    next
}

!json {
    split($0, part, "\t")
    split(part[3], word, " ")
    item = substr(part[3], length(word[1]) + 2)
    if (word[1] == "check") {
        check = part[1] " " item
        if (!(check in checked)) { checked[check] = part[4]; checkedSide[check] = part[2] }
        else if (checked[check] != part[4]) {
            printf "ERR: %s: check %s is %s for %s and %s for %s\n", part[1], item, checked[check], checkedSide[check], \
                part[4], part[2] > "/dev/stderr"
            failed = 1
        }
    } else if (word[1] == "result" || findGoal(part[1], item, word[1])) {
        add(part[1], item, part[2], word[1], part[4])
    }
    next
}

# ---- Google Benchmark's JSON, which it writes with one key a line

/"benchmarks": \[/ { inList = 1; next }
inList && /^    \{/ { delete value; order = ""; next }
inList && /^      "/ {
    field = $0; sub(/^ *"/, "", field); sub(/":.*/, "", field)
    text = $0; sub(/^[^:]*": /, "", text); sub(/,$/, "", text); gsub(/^"|"$/, "", text)
    if ($0 !~ /": /) next
    value[field] = text
    order = order "\t" field
    next
}
inList && /^    \}/ { if (value["run_type"] == "iteration") takeRun() }

function isStandard(field) {
    return field ~ /^(name|family_index|per_family_instance_index|run_name|run_type|repetitions|repetition_index|threads|iterations|real_time|cpu_time|time_unit|label|error_occurred|error_message|aggregate_name|aggregate_unit)$/
}

function takeRun(    row, name, keys, n, i, own, peer) {
    row = fileName(FILENAME); sub(/_bench\.json$/, "", row)
    name = value["run_name"]
    gsub(/\/(manual_time|real_time|process_time|iterations:[0-9]+|repeats:[0-9]+|min_time:[0-9.]+)/, "", name)
    if (index(name, row "/") == 1) name = substr(name, length(row) + 2)
    if (value["error_occurred"] == "true") {
        printf "ERR: %s: %s: %s\n", row, name, value["error_message"] > "/dev/stderr"
        failed = 1
        return
    }
    n = split(substr(order, 2), keys, "\t")
    for (i = 1; i <= n; ++i) {
        if (("peer_" keys[i]) in value) {
            add(row, name, "tarn", keys[i], value[keys[i]])
            add(row, name, row in peerName ? peerName[row] : "peer", keys[i], value["peer_" keys[i]])
            own = 1
        } else if (!isStandard(keys[i]) && keys[i] !~ /^peer_/ && keys[i] != "ratio" && keys[i] !~ /_per_second$/) {
            add(row, name, "tarn", keys[i], value[keys[i]])
        }
    }
    if (own) return
    if ("items_per_second" in value) addPending(row, name, "M/s", value["items_per_second"] / 1e6)
    else if ("bytes_per_second" in value) addPending(row, name, "GB/s", value["bytes_per_second"] / 1e9)
    else addPending(row, name, value["time_unit"], value["real_time"])
}

# Which side a name belongs to shows only once all names are known.
function addPending(row, name, measure, number) {
    if (!((row, name) in pendingValue)) pending[++pendingCount] = row SUBSEP name
    pendingValue[row, name] = pendingValue[row, name] " " number
    pendingMeasure[row, name] = measure
    pendingKnown[row, name] = 1
}

# The part of a peer's name in whose place the engine's has "tarn", or nothing.
function peerIn(row, name,    part, n, i, j, other) {
    n = split(name, part, "/")
    for (i = 1; i <= n; ++i) {
        other = ""
        for (j = 1; j <= n; ++j) other = other (j > 1 ? "/" : "") (j == i ? "tarn" : part[j])
        if (other != name && (row, other) in pendingKnown) return part[i]
    }
    return ""
}

function withoutPart(name, drop,    part, n, i, rest) {
    n = split(name, part, "/")
    for (i = 1; i <= n; ++i) if (part[i] != drop) rest = rest (rest ? "/" : "") part[i]
    return rest
}

function settlePending(    i, key, number, n, j, side, item) {
    for (i = 1; i <= pendingCount; ++i) {
        split(pending[i], key, SUBSEP)
        side = peerIn(key[1], key[2])
        item = withoutPart(key[2], side == "" ? "tarn" : side)
        n = split(pendingValue[key[1], key[2]], number, " ")
        for (j = 1; j <= n; ++j)
            add(key[1], item, side == "" ? "tarn" : side, pendingMeasure[key[1], key[2]], number[j])
    }
}

# ---- The table

function verdict(goal, ours, ratio,    word, x) {
    if (split(goal, word, " ") != 3) return ""
    if (word[1] == "ratio" && ratio == "") return ""
    x = word[1] == "ratio" ? ratio : ours
    return (word[2] == "<=" ? x <= word[3] + 0 : x >= word[3] + 0) ? "yes" : "no"
}

function printRow(key, line, side, ours,    goal, theirs, ratio) {
    goal = findGoal(key[1], key[2], key[3])
    theirs = side == "" ? "" : median(samples[line, side])
    ratio = side == "" || theirs == 0 ? "" : ours / theirs
    printf "%s,%s,%s,%s,%s,%s,%s,%s,%d,%s,%s\n", key[1], key[2], goal ? goalWhat[goal] : "", goal ? goalUnit[goal] : key[3], \
        short(ours), side, side == "" ? "" : short(theirs), ratio == "" ? "" : sprintf("%.3f", ratio), \
        count[line, "tarn"], goal ? goalText[goal] : "", goal ? verdict(goalText[goal], ours, ratio) : ""
}

END {
    settlePending()
    print "row,case,what,unit,ours,peer,peer's,ratio,samples,goal,met"
    for (i = 1; i <= lineCount; ++i) {
        line = lines[i]
        split(line, key, SUBSEP)
        if (!((line, "tarn") in samples)) continue
        ours = median(samples[line, "tarn"])
        n = split(sides[line], side, "\t")
        if (n == 1) printRow(key, line, "", ours)
        for (j = 1; j <= n; ++j) if (side[j] != "tarn") printRow(key, line, side[j], ours)
    }
    exit failed
}
