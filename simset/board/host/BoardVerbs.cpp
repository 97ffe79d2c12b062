#include <fcntl.h>
#include <sys/mman.h>

#include <filesystem>

#include "simset/base/Files.h"
#include "simset/base/Numbers.h"
#include "simset/board/host/Board.h"

namespace simset {
namespace {

// A file of the caller's.
std::string From(const Arguments& arguments, std::size_t index) {
    return (std::filesystem::path(arguments.caller.folder) / arguments[index]).string();
}

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
        {{"usb", "plug DIR [--name NAME] [--read-only]", "a stick with a copy of DIR; prints its name"},
         &Board::PlugStick},
        {{"usb", "list", "the plugged sticks as JSON", false}, &Board::ListSticks},
        {{"usb", "unplug NAME", ""}, &Board::UnplugStick},
        {{"usb", "read NAME DIR", "copy a stick's content into DIR", false}, &Board::ReadStick},
        {{"cat", "PATH", "a file of the set", false}, &Board::Cat},
        {{"put", "FILE PATH", "copy FILE into the set"}, &Board::Put},
        {{"rm", "PATH", ""}, &Board::Remove},
        {{"ls", "PATH", "", false}, &Board::List},
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
    for (const Verb<Board>& verb : Verbs()) {
        forms.push_back(verb);
    }
    return forms;
}

std::string Board::Control(const Caller& caller, const Words& words) {
    if (!Changes(AllVerbs(), words)) {
        return CarryOut(caller, words);
    }
    nlohmann::json row{{"who", "ctl"}, {"call", words[0]}, {"words", Words(words.begin() + 1, words.end())}};
    m_middleware.Trace(row);
    try {
        return CarryOut(caller, words);
    } catch (const std::exception& error) {
        row["error"] = error.what();
        m_middleware.Trace(row);
        throw;
    }
}

std::string Board::CarryOut(const Caller& caller, const Words& words) {
    const auto isOf = [&words](const VerbForm& form) { return words[0] == form.verb; };
    const std::vector<Verb<Board>>& verbs = Verbs();
    if (std::any_of(verbs.begin(), verbs.end(), isOf)) {
        return RunVerb(verbs, *this, words, caller);
    }
    const std::vector<VerbForm> passed = Middleware::Verbs();
    if (std::none_of(passed.begin(), passed.end(), isOf)) {
        RefuseVerb(AllVerbs(), words);
    }
    return m_middleware.Control(words, caller);
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
    Manager()->Write(ReadToEnd(OpenFile(From(arguments, 0)).Get()));
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

std::string Board::PlugStick(const Arguments& arguments) {
    const std::lock_guard lock(m_stickMutex);
    const Stick stick =
        m_sticks.Add(From(arguments, 0), arguments.Option("--name").value_or(""), arguments.Has("--read-only"));
    try {
        Request({request::kPlug, stick.name, stick.readOnly ? "ro" : "rw"});
    } catch (...) {
        m_sticks.Remove(stick.name);
        throw;
    }
    return stick.name + "\n";
}

std::string Board::ListSticks(const Arguments&) {
    const std::lock_guard lock(m_stickMutex);
    return nlohmann::json(m_sticks.Plugged()).dump() + "\n";
}

std::string Board::UnplugStick(const Arguments& arguments) {
    const std::lock_guard lock(m_stickMutex);
    const std::string name = Sticks::FullName(arguments[0]);
    if (!m_sticks.IsPlugged(name)) {
        throw ControlError("no stick named " + name + " is plugged");
    }
    Request({request::kUnplug, name});
    m_sticks.Remove(name);
    return {};
}

std::string Board::ReadStick(const Arguments& arguments) {
    const std::lock_guard lock(m_stickMutex);
    const std::string name = Sticks::FullName(arguments[0]);
    const std::string folder = From(arguments, 1);
    MakeFolders(AT_FDCWD, folder);
    const Descriptor target = OpenFolder(AT_FDCWD, folder);
    if (m_sticks.IsPlugged(name)) {
        Request({request::kReadStick, name}, {target.Get()});
    } else {
        const Descriptor sticks = OpenFolder(m_state.Folder(), "usb");
        CopyTree(OpenFolder(sticks.Get(), name).Get(), target.Get());
    }
    return {};
}

std::string Board::Cat(const Arguments& arguments) {
    const Message answer = Request({request::kOpen, arguments[0]});
    return ReadToEnd(answer.fds.at(0).Get());
}

std::string Board::Put(const Arguments& arguments) {
    // Through memory, so that a pipe can be the source too.
    const std::string file = From(arguments, 0);
    const std::string content = ReadToEnd(OpenFile(file).Get());
    const Descriptor memory(::memfd_create("put", MFD_CLOEXEC));
    if (!memory || ::write(memory.Get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
        ::lseek(memory.Get(), 0, SEEK_SET) != 0) {
        throw SystemError(file);
    }
    Request({request::kPut, arguments[1]}, {memory.Get()});
    return {};
}

std::string Board::Remove(const Arguments& arguments) {
    Request({request::kRemove, arguments[0]});
    return {};
}

std::string Board::List(const Arguments& arguments) {
    return Lines(Request({request::kList, arguments[0]}).parts);
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
    WriteFile(AT_FDCWD, From(arguments, 0), TakePicture().Png());
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
