#include <fcntl.h>

#include <algorithm>

#include "simset/base/Files.h"
#include "simset/base/Numbers.h"
#include "simset/board/host/Board.h"
#include "simset/board/inside/SetTree.h"

namespace simset {
namespace {

std::string Lines(const std::vector<std::string>& texts) {
    std::string out;
    for (const std::string& text : texts) {
        out += text + "\n";
    }
    return out;
}

}  // namespace

const std::vector<Verb<Board>>& Board::Verbs() {
    static const std::vector<Verb<Board>> kVerbs = {
        {{"am", "--raw TEXT", "bytes without a line end"}, &Board::AmRaw},
        {{"am", "--file FILE", "a file's bytes"}, &Board::AmFile},
        {{"am", "--eof", "end of input"}, &Board::AmEnd},
        {{"am", "--pause-output|--resume-output", "the manager stops reading the application's output"},
         &Board::AmPause},
        {{"am", "LINE", "a line on the application's standard input, not one that begins with --"},
         &Board::AmLine},
        {{"mounts", "", "the set's mount table", false}, &Board::Mounts},
        {{"mounts", "--unsynced", "where a power cut would lose what was written", false}, &Board::Unsynced},
        {{"screenshot", "FILE.png", "what the panel shows", false}, &Board::Picture},
        {{"line", "", "the serial line's settings and counters as JSON", false}, &Board::Line},
        {{"line", "[--baud N] [--drop P] [--flip P] [--delay MS] [--seed N]",
          "faults of the serial line, P a probability per byte"},
         &Board::Line},
        {{"line", "--unplug|--plug",
          "the application's end hangs up, its reads return at once with nothing; it is back"},
         &Board::PlugLine},
        {{"power-cut", "[--after N]",
          "N: at the Nth step from now, a step being a shell command (not begun),\na mount, a write (done) or a "
          "sync (nothing saved); 0 takes it back"},
         &Board::CutPower},
        {{"reboot", "", "stops the application, saves, and powers the set on again"}, &Board::Reboot},
    };
    return kVerbs;
}

std::vector<VerbForm> Board::AllVerbs() {
    std::vector<VerbForm> forms = Middleware::Verbs();
    const std::vector<VerbForm> ofFiles = FileVerbs::Forms();
    forms.insert(forms.end(), ofFiles.begin(), ofFiles.end());
    for (const Verb<Board>& verb : Verbs()) {
        forms.push_back(verb);
        forms.back().when = When::On;
    }
    return forms;
}

std::string Board::Control(const Caller& caller, const Words& words) {
    const std::vector<VerbForm> all = AllVerbs();
    const VerbForm* const form = FindForm(all, words);
    if (form == nullptr) {
        RefuseVerb(all, words);
    }
    return m_middleware.Told(*form, words, [&] { return CarryOut(caller, words); });
}

std::string Board::CarryOut(const Caller& caller, const Words& words) {
    const auto isOf = [&words](const std::vector<VerbForm>& forms) {
        return std::any_of(forms.begin(), forms.end(),
                           [&words](const VerbForm& form) { return words[0] == form.verb; });
    };
    if (isOf(FormsOf(Verbs()))) {
        return RunVerb(Verbs(), *this, words, caller);
    }
    return isOf(FileVerbs::Forms()) ? m_fileVerbs.Run(words, caller) : m_middleware.Control(words, caller);
}

std::shared_ptr<Streams> Board::Manager() const {
    const std::lock_guard lock(m_mutex);
    if (!m_streams) {
        throw ControlError("the set is off");
    }
    return m_streams;
}

Message Board::Request(const std::vector<std::string>& parts, const std::vector<int>& fds) {
    const std::shared_ptr<AgentLink> agent = Agent();
    if (!agent) {
        throw ControlError("the set is off");
    }
    return agent->Request(parts, fds);
}

std::string Board::AmRaw(const Arguments& arguments) {
    Manager()->Write(arguments[0]);
    return {};
}

std::string Board::AmFile(const Arguments& arguments) {
    Manager()->Write(ReadToEnd(OpenFile(arguments.caller.File(arguments[0])).Get()));
    return {};
}

std::string Board::AmEnd(const Arguments&) {
    Manager()->CloseInput();
    return {};
}

std::string Board::AmPause(const Arguments& arguments) {
    Manager()->Pause(arguments[0] == "--pause-output");
    return {};
}

std::string Board::AmLine(const Arguments& arguments) {
    if (arguments[0].rfind("--", 0) == 0) {
        RefuseVerb(AllVerbs(), {"am"});
    }
    Manager()->Write(arguments[0] + "\n");
    return {};
}

Descriptor Board::OpenPath(const std::string& path) {
    Message answer = Request({request::kOpen, path});
    return std::move(answer.fds.at(0));
}

void Board::PutPath(const std::string& path, int from) {
    Request({request::kPut, path}, {from});
}

void Board::RemovePath(const std::string& path) {
    Request({request::kRemove, path});
}

std::vector<std::string> Board::ListPath(const std::string& path) {
    return Request({request::kList, path}).parts;
}

void Board::StickIn(const Stick& stick) {
    const std::uint64_t size = m_middleware.DiskSize(StickFolder(stick.name));
    TellTooSmall(Request({request::kPlug, stick.name, stick.readOnly ? "ro" : "rw", std::to_string(size)}).parts);
}

void Board::StickOut(const std::string& name) {
    Request({request::kUnplug, name});
}

void Board::CopyStick(const std::string& name, int to) {
    Request({request::kReadStick, name}, {to});
}

std::string Board::Unsynced(const Arguments&) {
    return Lines(Request({request::kUnsaved}).parts);
}

std::string Board::Mounts(const Arguments&) {
    return Request({request::kMounts}).parts.at(0);
}

Screenshot Board::TakePicture() const {
    if (!m_panel) {
        throw ControlError("the set runs without a panel (--panel none)");
    }
    if (m_options.ownDisplay) {
        throw ControlError("with --display own the picture would show your desktop: take it with your own tools");
    }
    return Screenshot(m_panel->Display());
}

std::string Board::Picture(const Arguments& arguments) {
    WriteFile(AT_FDCWD, arguments.caller.File(arguments[0]), TakePicture().Png());
    return {};
}

std::string Board::Line(const Arguments& arguments) {
    if (arguments.HasOptions()) {
        m_line.Change(Changed(m_line.Settings(), arguments));
        return {};
    }
    return m_line.Describe() + "\n";
}

std::string Board::PlugLine(const Arguments& arguments) {
    m_line.Plug(arguments[0] == "--plug");
    return {};
}

std::string Board::CutPower(const Arguments& arguments) {
    const auto after = arguments.Option("--after");
    if (!after) {
        return Wait(Wish::PowerCut, "power-cut");
    }
    const auto steps = ParseNumber<std::uint64_t>(*after);
    if (!steps) {
        throw ControlError("usage: power-cut --after N, N a number of steps; 0 takes it back");
    }
    m_middleware.CutPowerAfter(*steps);
    return {};
}

std::string Board::Reboot(const Arguments&) {
    return Wait(Wish::Reboot, "reboot");
}

std::string Board::Wait(Wish wish, const char* name) {
    if (!m_power.Ask(wish).get()) {
        throw ControlError(std::string("the set went off before the ") + name);
    }
    return {};
}

}  // namespace simset
