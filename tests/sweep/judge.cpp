#include "judge.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <sstream>

namespace {

// Ten seconds are waited once for a team's address, five at most for the configuration each time.
constexpr UINT64 kLongestWait = 60 * 1000;

const char kVlanQuestion[] = "box \"Warning\" \"The vlans associated with underlying Nics";
const char kNoControl[] = "box (null) \"Cannot Create Control\"";

bool Begins(const std::string& text, const std::string& with) {
    return text.compare(0, with.size(), with) == 0;
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : " / ") + text.substr(0, 70);
    return all.empty() ? "nothing" : all;
}

// Texts without an error's number, which goes to *errors.
std::string WithoutNumber(const std::string& text, std::set<DWORD>* errors) {
    for (const char* words : {"with error 0x", "Error=0x"}) {
        const size_t at = text.find(words);
        if (at == std::string::npos)
            continue;
        const size_t number = at + std::string(words).size();
        const size_t end = text.find_first_not_of("0123456789abcdef", number);
        errors->insert(std::stoul(text.substr(number, end - number), nullptr, 16));
        return text.substr(0, number) + "#" + (end == std::string::npos ? "" : text.substr(end));
    }
    return text;
}

// Expected texts are beginnings, so that a list of VLANs needs no copy.
bool Matches(const std::vector<std::string>& expected, const std::vector<std::string>& texts,
             size_t mayLack, bool mayLackLast) {
    size_t at = 0;
    size_t lacking = 0;
    for (size_t i = 0; i < expected.size(); i++) {
        if (at < texts.size() && Begins(texts[at], expected[i]))
            at++;
        else if (i + 1 == expected.size() && mayLackLast)
            continue;
        else if (++lacking > mayLack)
            return false;
    }
    return at == texts.size();
}

// Facts that differ from `base` although they may not.
std::vector<std::string> WrongFacts(const Facts& base, const Facts& other, const Facts& now,
                                    unsigned allowed) {
    std::vector<std::string> wrong;
    std::set<std::string> paths;
    for (const auto& fact : base)
        paths.insert(fact.first);
    for (const auto& fact : now)
        paths.insert(fact.first);
    auto value = [](const Facts& facts, const std::string& path) {
        auto found = facts.find(path);
        return found == facts.end() ? std::string("nothing") : found->second;
    };
    for (const std::string& path : paths) {
        const std::string is = value(now, path);
        if (is == value(base, path))
            continue;
        const unsigned kind = KindOfFact(path);
        // Between the two states anything that the kind allows; beyond them only where it is said so.
        // A list of VLANs has as many states as it has entries.
        const bool known = is == value(other, path) || is == "nothing" || is == "key" ||
                           (allowed & kForeign) != 0 || path.find("\\VlanBinding") != path.npos ||
                           (kind & (kRows | kButtons | kSheet | kVlanRows | kState)) != 0;
        if ((kind & allowed) == 0 || !known)
            wrong.push_back("[" + KindNames(kind) + "] " + path + " is " + is + ", not " +
                            value(base, path));
    }
    return wrong;
}

std::set<std::string> VirtualAdapters(const Facts& facts) {
    const std::string root = "device\\ROOT\\NET\\";
    std::set<std::string> adapters;
    for (auto fact = facts.lower_bound(root); fact != facts.end() && Begins(fact->first, root);
         fact++)
        adapters.insert(
            fact->first.substr(root.size(), fact->first.find('\\', root.size()) - root.size()));
    return adapters;
}

std::string Some(const std::vector<std::string>& lines) {
    std::string text;
    for (size_t i = 0; i < lines.size() && i < 6; i++)
        text += "\n      " + lines[i];
    if (lines.size() > 6)
        text += "\n      and " + std::to_string(lines.size() - 6) + " more";
    return text;
}

// What the faults of one run allow together.
struct Allowance {
    std::set<std::string> ends;
    bool goesOn = true;
    unsigned deviations = 0;
    size_t textsLost = 0;
    std::vector<std::string> unruled;
};

Allowance AllowanceOf(const std::vector<CallSeen>& faults) {
    Allowance allowance;
    for (const CallSeen& fault : faults) {
        const FaultRule* rule = RuleOf(fault);
        if (rule == nullptr) {
            allowance.unruled.push_back(fault.text());
            continue;
        }
        // What fails behind the call that ended the operation belongs to its clean-up.
        std::istringstream ends(rule->ends);
        if ((rule->deviations & kInstead) != 0)
            allowance.ends.clear();
        if (allowance.goesOn || (rule->deviations & kInstead) != 0) {
            for (std::string end; ends >> end;)
                allowance.ends.insert(end);
            allowance.goesOn = rule->goesOn;
        }
        allowance.deviations |= rule->deviations;
        allowance.textsLost += (rule->deviations & kTextLost) != 0;
    }
    return allowance;
}

struct Told {
    std::vector<std::string> texts; // of the outcome
    std::set<DWORD> errors;
    size_t questions = 0;
    size_t noControls = 0;
};

Told Sorted(const std::vector<std::string>& texts) {
    Told told;
    for (const std::string& text : texts) {
        if (Begins(text, kVlanQuestion))
            told.questions++;
        else if (Begins(text, kNoControl))
            told.noControls++;
        else
            told.texts.push_back(WithoutNumber(text, &told.errors));
    }
    return told;
}

void JudgeOpen(const std::map<std::string, int>& open, const std::map<std::string, int>& usual,
               unsigned allowed, Complaints* complaints) {
    for (const auto& [kind, count] : open) {
        auto found = usual.find(kind);
        if (count == (found == usual.end() ? 0 : found->second))
            continue;
        if (found != usual.end() && count < found->second)
            continue; // what was never opened
        if ((allowed & kConfigOpen) != 0 &&
            (kind == "com-objects" || kind == "write-lock" || kind == "apartments"))
            continue;
        if ((allowed & kLockKept) != 0 && kind == "write-lock-of-a-released-object")
            continue;
        complaints->push_back({Complaint::Leak, kind + "=" + std::to_string(count) + " left open"});
    }
}

void JudgeWindows(const Observed& run, bool waitOpen, Complaints* complaints) {
    if (run.waitWindow && !waitOpen)
        complaints->push_back({Complaint::Wrong, "the please-wait window is left open"});
    if (!run.pageEnabled)
        complaints->push_back({Complaint::Wrong, "the page stays disabled"});
    if (run.benchMilliseconds > kLongestWait)
        complaints->push_back({Complaint::Wrong, "waited " + std::to_string(run.benchMilliseconds) +
                                                     " ms of bench time"});
}

} // namespace

Complaints JudgeRun(const std::string& operation, const Baseline& baseline,
                    const PlannedFault& fault, const Observed& run, unsigned* allowed) {
    Complaints complaints;
    Allowance allowance = AllowanceOf(run.faults);
    for (const std::string& unruled : allowance.unruled)
        complaints.push_back({Complaint::Wrong, "nothing is said of a failing " + unruled});
    if (allowance.goesOn)
        allowance.ends.insert("done");

    const Told told = Sorted(run.texts);
    if (told.noControls != 0 && (allowance.deviations & kBoxes) == 0)
        complaints.push_back({Complaint::Wrong, "told \"Cannot Create Control\""});
    const size_t usualQuestions = Sorted(baseline.first.texts).questions;
    if (told.questions > usualQuestions)
        complaints.push_back({Complaint::Wrong, "asked about VLANs"});

    std::string nearest;
    size_t nearestWrong = ~size_t{0};
    bool textsFit = false;
    bool fits = false;
    *allowed = allowance.deviations;
    for (const OutcomeRule* outcome : OutcomesOf(operation)) {
        if (allowance.ends.count(outcome->id) == 0 ||
            !Matches(outcome->texts, told.texts, allowance.textsLost,
                     (allowance.deviations & kNoHelp) != 0 && outcome->done))
            continue;
        textsFit = true;
        unsigned deviations = allowance.deviations | outcome->deviations;
        // The protocol is installed before anything of the job begins, and stays.
        if (Begins(operation, "install-") && !outcome->done)
            deviations |= kProtocol;
        const Facts& base = outcome->done ? baseline.first.facts : baseline.before;
        const Facts& other = outcome->done ? baseline.before : baseline.first.facts;
        const std::vector<std::string> wrong = WrongFacts(base, other, run.facts, deviations);
        if (wrong.size() < nearestWrong) {
            nearestWrong = wrong.size();
            nearest = std::string("as outcome \"") + outcome->id +
                      "\" the machine is wrong:" + Some(wrong);
        }
        if (!wrong.empty())
            continue;
        fits = true;
        *allowed |= deviations;
    }
    std::string ends;
    for (const std::string& end : allowance.ends)
        ends += " " + end;
    if (!textsFit)
        complaints.push_back(
            {Complaint::Wrong, "told " + Joined(run.texts) + " where these may come:" + ends});
    else if (!fits)
        complaints.push_back({Complaint::Wrong, nearest});
    for (DWORD error : told.errors) {
        if (error != fault.error && (allowance.deviations & kAnyError) == 0 &&
            (error & 0xFFFF) != fault.error)
            complaints.push_back(
                {Complaint::Wrong, "told another error, " + std::to_string(error)});
    }
    JudgeOpen(run.open, baseline.first.open, allowance.deviations, &complaints);
    JudgeWindows(run, (*allowed & kWaitOpen) != 0, &complaints);
    return complaints;
}

Complaints JudgeAgain(const std::string& operation, const Baseline& baseline, const Observed& run,
                      unsigned allowed, const Observed& again) {
    Complaints complaints;
    const Told told = Sorted(again.texts);
    auto check = [&](const Observed& expected, const char* what) {
        if (Sorted(expected.texts).texts != told.texts) {
            complaints.push_back({Complaint::Wrong, std::string("again ") + what + " it told " +
                                                        Joined(again.texts)});
            return;
        }
        const std::vector<std::string> wrong =
            WrongFacts(expected.facts, expected.facts, again.facts, 0);
        if (!wrong.empty())
            complaints.push_back({Complaint::Wrong, std::string("again ") + what +
                                                        " the machine is wrong:" + Some(wrong)});
    };
    if (run.open.count("write-lock") != 0) {
        // Whoever meets the configuration locked goes on as if the protocol were there, and stops at
        // the bindings without a word.
        if (told.texts.size() != 1 || again.facts != run.facts)
            complaints.push_back({Complaint::Wrong, "again, with the configuration open, it told " +
                                                        Joined(again.texts)});
    } else if (run.facts == baseline.before) {
        check(baseline.first, "after no change");
    } else if (run.facts == baseline.first.facts) {
        check(baseline.again, "after a success");
    } else {
        // From a state between the two: what a success leaves, but for what the first run may have
        // left otherwise; or another of the operation's own outcomes.
        // A virtual adapter that is left has its row, and its address; the next one has another.
        if (VirtualAdapters(run.facts) != VirtualAdapters(baseline.before))
            allowed |= kRows | kAddress;
        bool known = false;
        for (const Observed* expected : {&baseline.first, &baseline.again}) {
            if (known || told.texts != Sorted(expected->texts).texts)
                continue;
            known = true;
            const std::vector<std::string> wrong =
                WrongFacts(expected->facts, run.facts, again.facts, allowed | kForeign);
            if (!wrong.empty() && again.facts != run.facts)
                complaints.push_back(
                    {Complaint::Wrong, "again, in between, the machine is wrong:" + Some(wrong)});
        }
        for (const OutcomeRule* outcome : OutcomesOf(operation))
            known |= Matches(outcome->texts, told.texts, 0, true);
        if (!known)
            complaints.push_back(
                {Complaint::Wrong, "again, in between, it told " + Joined(again.texts)});
    }
    // A configuration that stays open on purpose is closed by nobody.
    JudgeOpen(again.open, baseline.first.open, allowed & kConfigOpen, &complaints);
    JudgeWindows(again, (allowed & kWaitOpen) != 0, &complaints);
    return complaints;
}

Complaints JudgeBaseline(const std::string& operation, const Baseline& baseline) {
    PlannedFault none;
    unsigned allowed;
    // The lists keep their pictures for as long as the page lives, and it lives as long as the program.
    std::map<std::string, int> usual;
    if (operation == "start-up")
        usual["image-lists"] = 1;
    Baseline clean = baseline;
    clean.first.open = usual;
    Complaints complaints = JudgeRun(operation, clean, none, baseline.first, &allowed);
    JudgeOpen(baseline.again.open, usual, 0, &complaints);
    return complaints;
}
