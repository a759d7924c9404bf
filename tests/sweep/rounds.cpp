#include "rounds.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace {

constexpr size_t kFirstRounds = 2;

// A round of an adapter that is treated differently is not alike within so many calls.
constexpr size_t kFollowing = 8;

constexpr size_t kGuidLength = 38;

// "{}" for a GUID, "#" for a number from 3 on: smaller ones may be flags.
std::string WithoutPlaces(const std::string& routine) {
    std::string text;
    for (size_t at = 0; at < routine.size();) {
        if (routine[at] == '{' && routine.find('}', at) == at + kGuidLength - 1) {
            text += "{}";
            at += kGuidLength;
            continue;
        }
        size_t digits = at;
        while (digits < routine.size() && isdigit(static_cast<unsigned char>(routine[digits])))
            digits++;
        if (digits == at) {
            text += routine[at++];
            continue;
        }
        const bool isFlag = digits == at + 1 && routine[at] < '3';
        text += isFlag ? routine.substr(at, 1) : "#";
        at = digits;
    }
    return text;
}

// Which entry of its routine within one entry of the caller this is, from 0 on.
class Rounds {
  public:
    size_t of(unsigned caller, const std::string& routine, unsigned entry) {
        std::vector<unsigned>& seen = entries_[{caller, routine}];
        auto found = std::find(seen.begin(), seen.end(), entry);
        if (found == seen.end())
            found = seen.insert(seen.end(), entry);
        return static_cast<size_t>(found - seen.begin());
    }

  private:
    std::map<std::pair<unsigned, std::string>, std::vector<unsigned>> entries_;
};

std::string PlaceOf(const CallSeen& call, Rounds* rounds) {
    std::string place = call.call;
    for (size_t depth = 0; depth < call.routines.size(); depth++) {
        const std::string routine = WithoutPlaces(call.routines[depth]);
        const unsigned caller = depth == 0 ? 0 : call.entries[depth - 1];
        const size_t round = rounds->of(caller, routine, call.entries[depth]);
        place += " < " + routine + " " + std::to_string(std::min(round, kFirstRounds));
    }
    return place;
}

} // namespace

std::vector<bool> CallsThatFail(const std::vector<CallSeen>& calls) {
    std::vector<std::string> names;
    for (const CallSeen& call : calls)
        names.push_back(call.call + " in " +
                        (call.routines.empty() ? "" : WithoutPlaces(call.routines.back())));
    Rounds rounds;
    std::map<std::string, std::vector<size_t>> alike;
    for (size_t i = 0; i < calls.size(); i++) {
        std::string signature = PlaceOf(calls[i], &rounds);
        for (size_t next = i + 1; next < std::min(i + 1 + kFollowing, calls.size()); next++)
            signature += ", " + names[next];
        alike[signature].push_back(i);
    }
    std::vector<bool> fail(calls.size());
    for (const auto& [signature, same] : alike) {
        for (size_t i = 0; i < same.size(); i++)
            fail[same[i]] = i < kFirstRounds || i + 1 == same.size();
    }
    return fail;
}
