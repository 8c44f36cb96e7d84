// ApiProbe: counts a script's calls of engine functions and, where wanted, times them. It puts itself before
// the engine's functions as globals; their arguments, results and errors stay what they are.
#pragma once

#include <cstdint>
#include <vector>

struct lua_State;

using ApiFunction = int (*)(lua_State*);

/// What is known of one engine function.
struct ApiCost {
    const char* name;
    ApiFunction function;
    unsigned long calls;      ///< since the probe was installed
    std::int64_t nanoseconds; ///< of these calls, where they are timed; one that raised an error is not in it
};

/// Hears of calls that are timed.
class ApiListener {
public:
    virtual ~ApiListener() = default;
    /// @param begin and end on the steady clock, ns
    virtual void ApiCalled(const ApiCost& function, std::int64_t begin, std::int64_t end) = 0;
};

/// See the top of this file.
class ApiProbe {
public:
    /// Puts the probe before the functions of a state; once for each state. It must outlive the state.
    void Install(lua_State* L);
    /// Times calls from now on and tells about each; the listener stays the caller's.
    void Listen(ApiListener* other) { listener = other; }
    /// @return of all functions together
    unsigned long Calls() const;
    const std::vector<ApiCost>& Costs() const { return costs; }

private:
    static int privCall(lua_State* L);

    std::vector<ApiCost> costs; // of the state where it is installed, in the order of registration
    ApiListener* listener = nullptr;
};

/// @return nanoseconds on the steady clock
std::int64_t SteadyNow();

/// The one probe of the process, which runs one script at a time.
extern ApiProbe apiProbe;
