#include <fcntl.h>
#include <sys/mman.h>

#include <array>
#include <charconv>
#include <filesystem>

#include "simset/board/Board.h"
#include "simset/board/Errors.h"
#include "simset/board/Tree.h"

namespace simset {
namespace {

namespace fs = std::filesystem;

std::string From(const std::string& folder, const std::string& path) {
    return (fs::path(folder) / path).string();
}

ControlReply Done(const std::string& out = "") {
    return {true, out, ""};
}

ControlReply Refuse(const std::string& text) {
    return {false, "", text};
}

/// The arguments that a verb needs, counted with the verb itself.
void Expect(const std::vector<std::string>& verb, std::size_t count, const char* usage) {
    if (verb.size() != count) {
        throw std::runtime_error(std::string("usage: ") + usage);
    }
}

std::string ReadToEnd(int fd) {
    std::string text;
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t size = ::read(fd, buffer.data(), buffer.size());
        if (size == 0) {
            return text;
        }
        if (size > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(size));
        } else if (errno != EINTR) {
            throw SystemError("read");
        }
    }
}

Fd OpenFile(const std::string& file) {
    Fd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        throw SystemError(file);
    }
    return fd;
}

}  // namespace

ControlReply Board::Control(const std::string& folder, const Arguments& verb) {
    const std::string& name = verb[0];
    if (name == "power-cut" && verb.size() == 3 && verb[1] == "--after") {
        return CutPowerAfter(verb[2]);
    }
    if (name == "reboot" || name == "power-cut") {
        Expect(verb, 1, name.c_str());
        return Ask(name == "reboot" ? Wish::kReboot : Wish::kPowerCut).get()
                   ? Done()
                   : Refuse("the set went off before the " + name);
    }
    if (name == "line") {
        return Line(verb);
    }
    if (name == "screenshot") {
        Expect(verb, 2, "screenshot FILE.png");
        if (!m_panel) {
            return Refuse("the set runs without a panel (--panel none)");
        }
        TakeScreenshot(m_panel->Display(), From(folder, verb[1]));
        return Done();
    }
    if (Middleware::HasVerb(name)) {
        return Pass(verb);
    }
    const std::shared_ptr<AgentLink> agent = Agent();
    if (!agent) {
        return Refuse("the set is off");
    }
    if (name == "am") {
        return Am(folder, verb);
    }
    if (name == "usb") {
        return Usb(folder, verb);
    }
    if (name == "cat") {
        Expect(verb, 2, "cat PATH");
        return Cat(verb[1]);
    }
    if (name == "put") {
        Expect(verb, 3, "put FILE PATH");
        return Put(From(folder, verb[1]), verb[2]);
    }
    if (name == "rm") {
        Expect(verb, 2, "rm PATH");
        agent->Request({request::kRemove, verb[1]});
        return Done();
    }
    if (name == "ls") {
        Expect(verb, 2, "ls PATH");
        std::string out;
        for (const std::string& entry : agent->Request({request::kList, verb[1]}).parts) {
            out += entry + "\n";
        }
        return Done(out);
    }
    if (name == "mounts") {
        Expect(verb, 1, "mounts");
        return Done(agent->Request({request::kMounts}).parts.at(0));
    }
    return Refuse("unknown verb '" + name + "'; simset ctl --help lists them");
}

ControlReply Board::CutPowerAfter(const std::string& text) {
    std::uint64_t steps = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, steps);
    if (error != std::errc() || stop != end) {
        return Refuse("usage: power-cut --after N, N a number of steps; 0 takes it back");
    }
    m_middleware.CutPowerAfter(steps);
    return Done();
}

ControlReply Board::Pass(const Arguments& verb) {
    Arguments passed = verb;
    if (verb.size() == 3 && verb[0] == "behave" && verb[1] == "supervisor") {
        m_supervisorWrong = verb[2] == "wrong";
        if (m_supervisorWrong) {
            passed[2] = "on";
        }
    }
    const nlohmann::json result = m_middleware.Control(passed);
    if (result.value("ok", false)) {
        return Done(result.value("out", ""));
    }
    return Refuse(result.value("error", "refused"));
}

ControlReply Board::Line(const Arguments& verb) {
    if (verb.size() > 1) {
        LineSettings settings = m_line.Settings();
        ApplyLineArguments({verb.begin() + 1, verb.end()}, settings);
        m_line.Change(settings);
        return Done();
    }
    return Done(m_line.Describe() + "\n");
}

ControlReply Board::Am(const std::string& folder, const Arguments& verb) {
    std::shared_ptr<Streams> streams;
    {
        const std::lock_guard lock(m_mutex);
        streams = m_streams;
    }
    if (verb.size() == 2 && (verb[1] == "--pause-output" || verb[1] == "--resume-output")) {
        streams->Pause(verb[1] == "--pause-output");
    } else if (verb.size() == 2 && verb[1] == "--eof") {
        streams->CloseInput();
    } else if (verb.size() == 3 && verb[1] == "--raw") {
        streams->Write(verb[2]);
    } else if (verb.size() == 3 && verb[1] == "--file") {
        streams->Write(ReadToEnd(OpenFile(From(folder, verb[2])).Get()));
    } else {
        Expect(verb, 2, "am LINE | --raw TEXT | --file FILE | --eof | --pause-output | --resume-output");
        streams->Write(verb[1] + "\n");
    }
    return Done();
}

ControlReply Board::Cat(const std::string& path) {
    const Message answer = Agent()->Request({request::kOpen, path});
    return Done(ReadToEnd(answer.fds.at(0).Get()));
}

ControlReply Board::Put(const std::string& file, const std::string& path) {
    // Through memory, so that a pipe can be the source too.
    const std::string content = ReadToEnd(OpenFile(file).Get());
    const Fd memory(::memfd_create("put", MFD_CLOEXEC));
    if (!memory || ::write(memory.Get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
        ::lseek(memory.Get(), 0, SEEK_SET) != 0) {
        throw SystemError(file);
    }
    Agent()->Request({request::kPut, path}, {memory.Get()});
    return Done();
}

ControlReply Board::Usb(const std::string& folder, const Arguments& verb) {
    const char* const usage = "usb plug DIR [--name NAME] [--read-only] | usb unplug NAME | usb read NAME DIR";
    const std::string action = verb.size() > 1 ? verb[1] : "";
    const std::lock_guard lock(m_stickMutex);
    if (action == "plug" && verb.size() > 2) {
        std::string name;
        bool readOnly = false;
        for (std::size_t i = 3; i < verb.size(); ++i) {
            if (verb[i] == "--name" && i + 1 < verb.size()) {
                name = verb[++i];
            } else if (verb[i] == "--read-only") {
                readOnly = true;
            } else {
                return Refuse(std::string("usage: ") + usage);
            }
        }
        const Stick stick = m_sticks.Add(From(folder, verb[2]), name, readOnly);
        try {
            Agent()->Request({request::kPlug, stick.name, stick.readOnly ? "ro" : "rw"});
        } catch (...) {
            m_sticks.Remove(stick.name);
            throw;
        }
        return Done(stick.name + "\n");
    }
    if (action == "unplug") {
        Expect(verb, 3, usage);
        const std::string name = Sticks::FullName(verb[2]);
        if (!m_sticks.IsPlugged(name)) {
            return Refuse("no stick named " + name + " is plugged");
        }
        Agent()->Request({request::kUnplug, name});
        m_sticks.Remove(name);
        return Done();
    }
    if (action == "read") {
        Expect(verb, 4, usage);
        return Done(ReadStick(Sticks::FullName(verb[2]), From(folder, verb[3])));
    }
    return Refuse(std::string("usage: ") + usage);
}

std::string Board::ReadStick(const std::string& name, const std::string& folder) {
    MakeFolders(AT_FDCWD, folder);
    const Fd target = OpenFolder(AT_FDCWD, folder);
    if (m_sticks.IsPlugged(name)) {
        Agent()->Request({request::kReadStick, name}, {target.Get()});
    } else {
        const Fd sticks = OpenFolder(m_state.Folder(), "usb");
        CopyTree(OpenFolder(sticks.Get(), name).Get(), target.Get());
    }
    return "";
}

}  // namespace simset
