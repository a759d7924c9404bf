#include "judge.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
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

std::string ValueOf(const Facts& facts, const std::string& path) {
    auto found = facts.find(path);
    return found == facts.end() ? std::string("nothing") : found->second;
}

bool EndsWith(const std::string& text, const std::string& with) {
    return text.size() >= with.size() &&
           text.compare(text.size() - with.size(), with.size(), with) == 0;
}

// What the pages of these states can show: what they do show, and every name that an adapter has.
class Vocabulary {
  public:
    explicit Vocabulary(std::initializer_list<const Facts*> states) {
        for (const Facts* facts : states) {
            for (const auto& [path, value] : *facts)
                learn(path, value);
        }
    }

    bool has(unsigned kind, const std::string& path, const std::string& value) const {
        const size_t bar = value.find(" | ");
        if (kind == kSheet && bar != value.npos) {
            auto row = rows_.find(value.substr(0, bar));
            const std::string shown = value.substr(bar + 3);
            return row != rows_.end() && (row->second.count(shown) != 0 || shown == "Unknown" ||
                                          shown.find_first_not_of(' ') == shown.npos);
        }
        return path.find("\\count") != path.npos || path.find("\\box\\") != path.npos ||
               path.find("\\button\\") != path.npos || path == "sheet\\pages" ||
               path == "page\\proposed" || texts_.count(value) != 0;
    }

  private:
    void learn(const std::string& path, const std::string& value) {
        const size_t bar = value.find(" | ");
        if (Begins(path, "sheet\\") && bar != value.npos)
            rows_[value.substr(0, bar)].insert(value.substr(bar + 3));
        else if (Begins(path, "page\\") || Begins(path, "sheet\\") || Begins(path, "vlans\\"))
            texts_.insert(value);
        const size_t quote = value.find('"');
        if ((EndsWith(path, "\\FriendlyName") || EndsWith(path, "\\DeviceDesc")) &&
            quote != value.npos)
            texts_.insert(value.substr(quote + 1, value.rfind('"') - quote - 1));
        // An id that cannot be read is shown as 0.
        if (EndsWith(path, "\\VlanName") && quote != value.npos)
            rows_[value.substr(quote + 1, value.rfind('"') - quote - 1)].insert("0");
    }

    std::set<std::string> texts_ = {"", "dummy"};
    std::map<std::string, std::set<std::string>> rows_;
};

// Facts that differ from `base` although they may not.
std::vector<std::string> WrongFacts(const Facts& base, const Facts& other, const Facts& now,
                                    unsigned allowed) {
    std::vector<std::string> wrong;
    std::set<std::string> paths;
    for (const auto& fact : base)
        paths.insert(fact.first);
    for (const auto& fact : now)
        paths.insert(fact.first);
    const Vocabulary shown({&base, &other});
    for (const std::string& path : paths) {
        const std::string is = ValueOf(now, path);
        if (is == ValueOf(base, path))
            continue;
        const unsigned kind = KindOfFact(path);
        // Between the two states anything that the kind allows; beyond them only where it is said so.
        // A list of VLANs has as many states as it has entries.
        const bool known =
            is == ValueOf(other, path) || is == "nothing" || is == "key" ||
            (allowed & kForeign) != 0 || path.find("\\VlanBinding") != path.npos ||
            (kind & (kButtons | kState)) != 0 ||
            // A path reports the state of its lower part.
            ((kind & kBindings) != 0 && is == "disabled below") ||
            ((kind & (kRows | kSheet | kVlanRows)) != 0 && shown.has(kind, path, is));
        // A protocol that is installed binds to all adapters.
        const bool others = IsOfBystander(path) && ValueOf(base, path) == ValueOf(other, path) &&
                            ((kind & kVirtualDevice) == 0 || (allowed & kOthersToo) == 0);
        if ((kind & allowed) == 0 || !known || others)
            wrong.push_back("[" + KindNames(kind) + "] " + path + " is " + is + ", not " +
                            ValueOf(base, path));
    }
    return wrong;
}

// Virtual adapters, by GUID.
std::set<std::string> VirtualAdapters(const Facts& facts) {
    const std::string root = "device\\ROOT\\NET\\";
    std::set<std::string> adapters;
    for (auto fact = facts.lower_bound(root); fact != facts.end() && Begins(fact->first, root);
         fact++)
        adapters.insert(
            fact->first.substr(root.size(), fact->first.find('\\', root.size()) - root.size()));
    return adapters;
}

std::set<std::string> Without(const std::set<std::string>& all, const std::set<std::string>& some) {
    std::set<std::string> left;
    std::set_difference(all.begin(), all.end(), some.begin(), some.end(),
                        std::inserter(left, left.end()));
    return left;
}

void Replace(const std::string& what, const std::string& with, std::string* text) {
    for (size_t at = 0; (at = text->find(what, at)) != text->npos; at += with.size())
        text->replace(at, what.size(), with);
}

Facts Renamed(const Facts& facts, const std::string& what, const std::string& with) {
    Facts renamed;
    for (const auto& fact : facts) {
        std::string path = fact.first;
        std::string value = fact.second;
        Replace(what, with, &path);
        Replace(what, with, &value);
        renamed[path] = value;
    }
    return renamed;
}

// Facts without those of these adapters. One that has no GUID goes by its number, which means nothing
// by itself.
Facts WithoutAdapters(const Facts& facts, const std::set<std::string>& adapters) {
    Facts left;
    for (const auto& fact : facts) {
        if (std::none_of(adapters.begin(), adapters.end(), [&](const std::string& guid) {
                return fact.first.find(guid[0] == '{' ? guid : "ROOT\\NET\\" + guid) !=
                       fact.first.npos;
            }))
            left.insert(fact);
    }
    return left;
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

Allowance AllowanceOf(const std::string& operation, const std::vector<CallSeen>& faults) {
    Allowance allowance;
    for (const CallSeen& fault : faults) {
        const FaultRule* rule = RuleOf(operation, fault);
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
    for (const std::string& page : run.unusable)
        complaints->push_back({Complaint::Wrong, page + " stays disabled"});
    if (run.benchMilliseconds > kLongestWait)
        complaints->push_back({Complaint::Hang, "waited " + std::to_string(run.benchMilliseconds) +
                                                    " ms of bench time"});
}

// Whether the operation installs the protocol, which binds to all adapters then.
bool InstallsProtocol(const std::string& operation) {
    return Begins(operation, "install-");
}

// The facts of what an operation is not about, as lines.
std::set<std::string> Bystanders(const std::string& operation, const Facts& facts) {
    std::set<std::string> lines;
    for (const auto& [path, value] : facts) {
        const bool isInstalled = InstallsProtocol(operation) && Begins(path, "path\\qv_qvteamp->");
        if (IsOfBystander(path) && !isInstalled)
            lines.insert(path + " = " + value);
    }
    return lines;
}

// What the next press of the operation's button begins with: the machine, and what is listed.
Facts StateOf(const std::string& operation, const Facts& facts) {
    const bool rebuilds = ReadsListsAnew(operation);
    Facts state;
    for (const auto& fact : facts) {
        const bool listed = Begins(fact.first, "page\\list\\") || fact.first == "page\\proposed" ||
                            Begins(fact.first, "vlans\\");
        const bool shown = Begins(fact.first, "page\\") || Begins(fact.first, "sheet\\") ||
                           Begins(fact.first, "vlans\\");
        if (!shown || (listed && !rebuilds))
            state.insert(fact);
    }
    return state;
}

// Whether the state justifies that an outcome comes again.
bool MayComeAgain(const OutcomeRule& outcome, const Baseline& baseline, const Observed& run,
                  const Observed& again) {
    if ((outcome.deviations & kAgainUnticked) != 0)
        return again.ticked == 0;
    return (outcome.deviations & kAgainForgotten) != 0 &&
           std::any_of(baseline.before.begin(), baseline.before.end(), [&](const auto& fact) {
               return EndsWith(fact.first, "\\VlanBinding") && run.facts.count(fact.first) == 0;
           });
}

// An address as a driver key has it, without type and quotes.
std::string AddressIn(const std::string& value) {
    const size_t quote = value.find('"');
    return quote == value.npos ? value : value.substr(quote + 1, value.rfind('"') - quote - 1);
}

// The same press without a fault, on what is neither the machine before nor the one behind a success:
// it ends as a success does, but for what the first run has left otherwise, or in an outcome that may
// come again. Empty when it did; else what was wrong with the outcome that fits best.
std::string NotBetween(const std::string& operation, const Baseline& baseline, const Observed& run,
                       unsigned allowed, const Observed& again) {
    const Told told = Sorted(again.texts);
    std::string nearest = "it told " + Joined(again.texts);
    size_t least = ~size_t{0};
    auto fits = [&](const Facts& base, const Facts& other, const Facts& now, unsigned deviations) {
        const std::vector<std::string> wrong = WrongFacts(base, other, now, deviations);
        if (wrong.size() < least) {
            least = wrong.size();
            nearest =
                "it told " + Joined(again.texts) + ", and the machine is wrong:" + Some(wrong);
        }
        return wrong.empty();
    };
    for (const Observed* expected : {&baseline.first, &baseline.again}) {
        if (told.texts != Sorted(expected->texts).texts ||
            (again.ticked == 0) != (expected->ticked == 0))
            continue;
        const std::set<std::string> strays =
            Without(VirtualAdapters(run.facts), VirtualAdapters(baseline.before));
        const std::set<std::string> made =
            Without(VirtualAdapters(again.facts), VirtualAdapters(run.facts));
        const std::set<std::string> meant =
            Without(VirtualAdapters(expected->facts), VirtualAdapters(baseline.before));
        if (made.size() != 1 || meant.size() != 1) {
            if (fits(expected->facts, run.facts, again.facts, allowed))
                return "";
            continue;
        }
        // What was left stays as it was left, and the next one is what the first was meant to be: with
        // a GUID and an address of its own, and the name of one that was left beside its own.
        const std::string address =
            "device\\ROOT\\NET\\" + *made.begin() + "\\driver\\NetworkAddress";
        const std::string first =
            "device\\ROOT\\NET\\" + *meant.begin() + "\\driver\\NetworkAddress";
        Facts now = WithoutAdapters(again.facts, strays);
        if (now.count(address) != 0 && expected->facts.count(first) != 0)
            now = Renamed(now, AddressIn(now.at(address)), AddressIn(expected->facts.at(first)));
        now = Renamed(now, *made.begin(), *meant.begin());
        if (fits(expected->facts, run.facts, now, strays.empty() ? allowed : allowed | kRows))
            return "";
    }
    for (const OutcomeRule* outcome : OutcomesOf(operation)) {
        if (MayComeAgain(*outcome, baseline, run, again) &&
            Matches(outcome->texts, told.texts, 0, false) &&
            fits(run.facts, baseline.first.facts, again.facts, outcome->deviations & kRecords))
            return "";
    }
    return nearest;
}

} // namespace

Complaints JudgeRun(const std::string& operation, const Baseline& baseline,
                    const PlannedFault& fault, const Observed& run, unsigned* allowed) {
    Complaints complaints;
    Allowance allowance = AllowanceOf(operation, run.faults);
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
        if (InstallsProtocol(operation) && !outcome->done)
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
    auto wrong = [&](const std::string& text) {
        complaints.push_back({Complaint::Wrong, "again " + text});
    };
    auto expect = [&](const Observed& expected, const char* when) {
        if (Sorted(expected.texts).texts != told.texts) {
            wrong(std::string(when) + " it told " + Joined(again.texts));
            return;
        }
        const std::vector<std::string> facts =
            WrongFacts(expected.facts, expected.facts, again.facts, 0);
        if (!facts.empty())
            wrong(std::string(when) + " the machine is wrong:" + Some(facts));
    };
    if (told.noControls != 0)
        wrong("told \"Cannot Create Control\"");
    if (told.questions > Sorted(baseline.first.texts).questions)
        wrong("asked about VLANs");
    if (run.open.count("write-lock") != 0) {
        // Whoever meets the configuration locked goes on as if the protocol were there, and stops at
        // the bindings without a word.
        if (told.texts.size() != 1 || again.facts != run.facts)
            wrong("with the configuration open, it told " + Joined(again.texts));
    } else if (StateOf(operation, run.facts) == StateOf(operation, baseline.before)) {
        expect(baseline.first, "after no change");
    } else if (StateOf(operation, run.facts) == StateOf(operation, baseline.first.facts)) {
        expect(baseline.again, "after a success");
    } else {
        const std::string nearest = NotBetween(operation, baseline, run, allowed, again);
        if (!nearest.empty())
            wrong("in between, " + nearest);
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
    for (const Observed* run : {&baseline.first, &baseline.again}) {
        for (const auto& fact : run->facts) {
            if (Begins(fact.first, "unusable\\"))
                complaints.push_back({Complaint::Wrong, fact.first + " " + fact.second});
        }
    }
    if (!ReadsListsAnew(operation) &&
        StateOf(operation, baseline.before) == StateOf(operation, baseline.first.facts))
        complaints.push_back({Complaint::Wrong, "nothing was done"});
    const std::set<std::string> others = Bystanders(operation, baseline.before);
    if (others != Bystanders(operation, baseline.first.facts) ||
        others != Bystanders(operation, baseline.again.facts))
        complaints.push_back({Complaint::Wrong, "bystanders are not left alone"});
    return complaints;
}
