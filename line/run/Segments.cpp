#include "run/Segments.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "protocol/CommandCatalogue.h"
#include "wire/Error.h"

namespace zelline {
namespace {

constexpr char kStockPrefix[] = "stock.";  // of the variables that stand for what the unit gets

bool TakesFromStock(const Step& step) {
    return std::any_of(step.words.begin(), step.words.end(), [](const std::string& word) {
        const auto references = ReferencesIn(word);
        return word == kFromStock ||
               std::any_of(references.begin(), references.end(),
                           [](const Reference& reference) { return reference.name.rfind(kStockPrefix, 0) == 0; });
    });
}

// Why the step goes out alone; empty when others may go with it.
std::string ReasonAlone(const Step& step, const Action& action, const Settings& settings) {
    if (action.kind == Action::Kind::Upload) {
        return "it sends a file";
    }
    if (IsForOperator(action)) {
        return "it waits for the operator";
    }
    if (TakesFromStock(step)) {
        return "what it takes from the stock is written down before it is sent";
    }
    const zel::CommandInfo* row = zel::FindCommand(action.request.id);
    if (row == nullptr || !DropReason(action.request.id, action.request.payload).empty() ||
        step.expect.status == Exit::NoAnswer) {
        return "the set does not answer it";
    }
    if (row->subject == zel::Subject::Whole) {
        return fmt::format("'{}' goes out alone", row->name);
    }
    if (step.within) {
        return "its time has a limit (within)";
    }
    if (settings.timeout && *settings.timeout < DefaultTimeout(action.request.id)) {
        return "the time for its answer is shorter than the command's (timeout)";
    }
    return settings.connect ? std::string() : "no connect may stand in front of it (--no-connect)";
}

// Why nothing may stand behind the step in its burst; empty when something may.
std::string ReasonLast(const Step& step, const BurstItem& item) {
    if (item.retries == 0) {
        return "the step in front of it is not to be repeated";
    }
    if (step.until) {
        return "the step in front of it may have to be asked several times (until)";
    }
    return step.stopOnFailure && !step.teardown ? "the step in front of it stops the run when it fails" : "";
}

// The steps of a segment as they are gathered.
class Gathering {
  public:
    Gathering(const Plan& plan, const Values& values, const Settings& settings)
        : m_plan(plan), m_values(values), m_settings(settings) {}

    // Takes in the step of that number, or says why it is not part of the segment.
    std::string Take(std::size_t number) {
        const Step& step = m_plan.steps[number];
        const bool isFirst = m_steps.empty();
        if (!isFirst && step.teardown != m_plan.steps[m_steps.front().number].teardown) {
            return "the teardown begins";
        }
        if (const std::string name = NameUnderWay(step); !name.empty()) {
            return fmt::format("it needs ${{{}}}, which is not known before", name);
        }
        const Variables known = VariablesOf(step, m_values.variables, m_values.saved);
        if (!step.runIf.empty() && !Holds(step.runIf, known)) {
            Pass(step);
            return isFirst ? "its condition does not hold" : "";
        }
        Action action = StepAction(step, known);
        const Settings settings = StepSettings(step, m_settings);
        if (const std::string reason = ReasonAlone(step, action, settings); !reason.empty()) {
            return reason;
        }
        if (!isFirst) {
            if (!m_last.empty()) {
                return m_last;
            }
            if (step.wait.count() > 0) {
                return "it waits";
            }
        }
        const zel::CommandInfo& row = *zel::FindCommand(action.request.id);
        const bool changes = zel::ChangesSubject(row);
        if (changes && m_readBefore.count(row.subject) != 0) {
            return "it changes what a step in front of it has read";
        }
        m_items.push_back(ItemOf(action, settings));
        if (m_items.back().retries == 0 &&
            (m_changed.count(row.subject) != 0 || m_readBefore.count(row.subject) != 0)) {
            return "it is not to be repeated, which it would be with a step in front of it";
        }
        if (Burst::MostBytes(m_items) > kMostBurstBytes) {
            return fmt::format("a burst has {} bytes at most", kMostBurstBytes);
        }
        (changes ? m_changed : m_changed.count(row.subject) != 0 ? m_changed : m_readBefore).insert(row.subject);
        m_readBefore.erase(zel::Subject::Nothing);
        m_last = ReasonLast(step, m_items.back());
        m_steps.push_back({number, std::move(action)});
        Pass(step);
        return {};
    }

    std::vector<SegmentStep>& Steps() { return m_steps; }

  private:
    // What the step will have a value for, once it is over.
    void Pass(const Step& step) {
        m_underWay.insert(kAllSteps);
        for (const std::string& name : {step.save, step.id.empty() ? "" : "step." + step.id}) {
            if (!name.empty()) {
                m_underWay.insert(name);
            }
        }
    }

    // A name that the step needs to be asked, of something that is decided in the segment.
    std::string NameUnderWay(const Step& step) const {
        Words texts = step.words;
        texts.push_back(step.runIf);
        for (const std::string& text : texts) {
            for (const Reference& reference : ReferencesIn(text)) {
                if (m_underWay.count(reference.name) != 0) {
                    return reference.name;
                }
            }
        }
        return {};
    }

    const Plan& m_plan;
    const Values& m_values;
    const Settings& m_settings;
    std::vector<SegmentStep> m_steps;
    std::vector<BurstItem> m_items;
    std::set<std::string> m_underWay;
    std::set<zel::Subject> m_changed;
    std::set<zel::Subject> m_readBefore;  // and not changed in front of that
    std::string m_last;                   // why nothing may stand behind the last step
};

}  // namespace

Segment NextSegment(const Plan& plan, std::size_t begin, const Values& values, const Settings& settings) {
    Gathering gathering(plan, values, settings);
    Segment segment;
    for (std::size_t number = begin; number < plan.steps.size() && segment.reason.empty(); ++number) {
        try {
            segment.reason = gathering.Take(number);
        } catch (const Error& error) {  // told of when the step is reached
            segment.reason = error.what();
        }
    }
    segment.steps = std::move(gathering.Steps());
    segment.end = segment.steps.empty() ? begin + 1 : segment.steps.back().number + 1;
    return segment;
}

}  // namespace zelline
