// Tracing a script: who is called when, and what the viewers are told about it.
#include "trace.h"

#include "apiprobe.h"
#include "drawjoin.h"
#include "geometry.h"
#include "lua_api.h"
#include "manager.h"
#include "player.h"
#include "tracefile.h"

#include <cstring>
#include <mutex>
#include <vector>

namespace {

constexpr std::int64_t kWorthASpan = 20000;     // ns; shorter calls are only counted
constexpr std::int64_t kFlushEvery = 250000000; // ns
constexpr std::size_t kDeepest = 16;            // loads within loads

std::string member(const char* name, unsigned long value) {
    return std::string("\"") + name + "\":" + std::to_string(value);
}

void tellUnwritable(Player& player) {
    player.findings.Tell(STATUS_SCRIPT_ERROR, "cannot write " + player.options.trace);
}

class Trace : public Feature, ApiListener, CallObserver, LoadObserver, FrameClock {
public:
    explicit Trace(Player& player) : began(SteadyNow()), inner(player.seams.clock) {
        if (!file.Open(player.options.trace))
            return;
        player.seams.clock = this;
        player.seams.calls = this;
        loadObserver = this;
    }
    ~Trace() override { privStop(); }

    bool IsOpen() const { return file.Good(); }

    void StateReady(Player& player) override;
    void FrameBegins(Player& player) override;
    void PictureReady(Player&) override { presentBegan = privNow(); }
    void Presented(Player& player) override;
    void Abandoned(Player&) override;
    void Ended(Player& player) override;

private:
    // ApiListener
    void ApiCalled(const ApiCost& function, std::int64_t begin, std::int64_t end) override;
    // CallObserver
    void CallBegins(const char* name) override;
    void CallEnded(const char* name) override;
    // LoadObserver
    void LoadBegins() override { loadBegan.push_back(privNow()); }
    void LoadEnded(const char* path) override;
    // FrameClock
    std::int64_t Now() override { return inner ? inner->Now() : privNow(); }
    void WaitUntil(std::int64_t deadline) override;

    static int privCollected(lua_State* L);
    static void privMakeSentinel(lua_State* L, Trace* trace);

    std::int64_t privNow() const { return SteadyNow() - began; }
    void privCloseFrame(const Player& player, std::int64_t now);
    void privCountCalls(std::int64_t now);
    void privStop();

    // A callback under way.
    struct OpenCall {
        std::string name;
        std::int64_t began;
    };

    // What a function had cost when its last counters were written.
    struct Counted {
        unsigned long calls = 0;
        std::int64_t nanoseconds = 0;
    };

    TraceFile file;
    const std::int64_t began;     // all times below count from there, ns
    FrameClock* const inner;      // the clock that is replaced; null for the system's
    std::int64_t frameBegan = -1; // -1 while no frame runs
    std::int64_t presentBegan = 0;
    std::int64_t lastLoad = -1; // when the last file was read
    std::int64_t flushed = 0;
    std::mutex guard; // of the calls, not held while anything is written
    std::vector<OpenCall> openCalls;
    std::vector<std::int64_t> loadBegan; // of the files being read
    std::vector<Counted> counted;        // in the order of the probe
    unsigned long drawsCounted = 0;
    int shown = 0; // the frame that runs, once it has been presented
    bool stopped = false;
};

// ---- Spans

void Trace::StateReady(Player& player) {
    apiProbe.Install(player.luaState);
    apiProbe.Listen(this);
    counted.assign(apiProbe.Costs().size(), Counted());
    drawsCounted = drawCalls;
    privMakeSentinel(player.luaState, this);
}

void Trace::FrameBegins(Player& player) {
    const std::int64_t now = privNow();
    privCloseFrame(player, now);
    frameBegan = now;
    if (now - flushed < kFlushEvery)
        return;
    flushed = now;
    file.Flush();
}

void Trace::Presented(Player& player) {
    shown = player.drawnFrames;
    file.Span("present", "engine", presentBegan, privNow());
}

void Trace::privCloseFrame(const Player& player, std::int64_t now) {
    if (frameBegan >= 0)
        file.Span(shown > 0 ? "frame " + std::to_string(shown) : "no frame", "engine", frameBegan, now);
    shown = 0;
    privCountCalls(now);
    if (player.luaState)
        file.Counter("Lua KB", now,
                     member("KB", static_cast<unsigned long>(lua_gc(player.luaState, LUA_GCCOUNT, 0))));
    file.Counter("draw calls", now, member("calls", drawCalls - drawsCounted));
    drawsCounted = drawCalls;
}

// Functions that have not been called yet are left out, those that have been stay in with 0.
void Trace::privCountCalls(std::int64_t now) {
    const std::vector<ApiCost>& costs = apiProbe.Costs();
    std::string calls, times;
    for (std::size_t i = 0; i < costs.size() && i < counted.size(); ++i) {
        if (costs[i].calls == 0)
            continue;
        const char* const comma = calls.empty() ? "" : ",";
        calls += comma + member(costs[i].name, costs[i].calls - counted[i].calls);
        times += comma + member(costs[i].name, static_cast<unsigned long>(
                                                   (costs[i].nanoseconds - counted[i].nanoseconds) / 1000));
        counted[i] = {costs[i].calls, costs[i].nanoseconds};
    }
    file.Counter("API calls", now, calls);
    file.Counter("API us", now, times);
}

void Trace::ApiCalled(const ApiCost& function, std::int64_t begin, std::int64_t end) {
    const bool loaded = lastLoad >= begin - began;
    if (end - begin >= kWorthASpan || loaded)
        file.Span(function.name, "api", begin - began, end - began);
}

void Trace::CallBegins(const char* name) {
    const std::lock_guard<std::mutex> lock(guard);
    openCalls.push_back({name, privNow()});
}

void Trace::CallEnded(const char* name) {
    if (openCalls.empty())
        return;
    file.Span(name, "script", openCalls.back().began, privNow());
    {
        const std::lock_guard<std::mutex> lock(guard);
        openCalls.pop_back();
    }
    loadBegan.clear(); // an error may have left some open
    if (std::strcmp(name, "Init") == 0)
        file.Flush();
}

void Trace::LoadEnded(const char* path) {
    if (loadBegan.empty() || loadBegan.size() > kDeepest)
        return;
    lastLoad = privNow();
    file.Span("load", "content", loadBegan.back(), lastLoad, "\"file\":\"" + JsonText(path) + "\"");
    loadBegan.pop_back();
}

// As the engine's own clock waits.
void Trace::WaitUntil(std::int64_t deadline) {
    const std::int64_t begin = privNow();
    if (inner)
        inner->WaitUntil(deadline);
    while (!inner && privNow() < deadline) {
    }
    file.Span("wait", "engine", begin, privNow());
}

// ---- Garbage collection

// A userdata that nobody refers to: the collector ends it in each cycle, which is told, and a new one is
// made.
void Trace::privMakeSentinel(lua_State* L, Trace* trace) {
    *static_cast<Trace**>(lua_newuserdata(L, sizeof(Trace*))) = trace;
    lua_createtable(L, 0, 1);
    lua_pushcfunction(L, privCollected);
    lua_setfield(L, -2, "__gc");
    lua_setmetatable(L, -2);
    lua_pop(L, 1);
}

int Trace::privCollected(lua_State* L) {
    Trace* trace = *static_cast<Trace**>(lua_touserdata(L, 1));
    if (trace->stopped)
        return 0;
    trace->file.Instant("garbage collected", trace->privNow());
    privMakeSentinel(L, trace);
    return 0;
}

// ---- The end

void Trace::Ended(Player& player) {
    privCloseFrame(player, privNow());
    frameBegan = -1;
    privStop();
    if (!file.Good())
        tellUnwritable(player);
}

// The calls that do not return are what the author looks for.
void Trace::Abandoned(Player&) {
    const std::lock_guard<std::mutex> lock(guard);
    for (const OpenCall& call : openCalls)
        file.Span(call.name, "script", call.began, privNow());
    file.FlushFromOutside();
}

void Trace::privStop() {
    file.Flush();
    stopped = true;
    apiProbe.Listen(nullptr);
    if (loadObserver == this)
        loadObserver = nullptr;
}

} // namespace

std::unique_ptr<Feature> MakeTrace(Player& player) {
    auto trace = std::make_unique<Trace>(player);
    if (trace->IsOpen())
        return trace;
    tellUnwritable(player);
    return nullptr;
}
