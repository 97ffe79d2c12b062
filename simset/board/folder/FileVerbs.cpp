#include "simset/board/folder/FileVerbs.h"

#include <fcntl.h>
#include <sys/mman.h>

#include "simset/base/Files.h"

namespace simset {

const std::vector<Verb<FileVerbs>>& FileVerbs::Verbs() {
    static const std::vector<Verb<FileVerbs>> kVerbs = {
        {{"usb", "plug DIR [--name NAME] [--read-only]", "a stick with a copy of DIR; prints its name"},
         &FileVerbs::PlugStick},
        {{"usb", "list", "the plugged sticks as JSON", false}, &FileVerbs::ListSticks},
        {{"usb", "unplug NAME", ""}, &FileVerbs::UnplugStick},
        {{"usb", "read NAME DIR", "copy a stick's content into DIR", false}, &FileVerbs::ReadStick},
        {{"cat", "PATH", "a file of the set; while it is off, of what it keeps", false}, &FileVerbs::Cat},
        {{"put", "FILE PATH", "copy FILE into the set"}, &FileVerbs::Put},
        {{"rm", "PATH", ""}, &FileVerbs::Remove},
        {{"ls", "PATH", "", false}, &FileVerbs::List},
    };
    return kVerbs;
}

std::string FileVerbs::PlugStick(const Arguments& arguments) {
    const std::lock_guard lock(m_stickMutex);
    const Stick stick = m_sticks.Add(arguments.caller.File(arguments[0]), arguments.Option("--name").value_or(""),
                                     arguments.Has("--read-only"));
    try {
        m_content.StickIn(stick);
    } catch (...) {
        m_sticks.Remove(stick.name);
        throw;
    }
    return stick.name + "\n";
}

std::string FileVerbs::ListSticks(const Arguments&) {
    const std::lock_guard lock(m_stickMutex);
    return nlohmann::json(m_sticks.Plugged()).dump() + "\n";
}

std::string FileVerbs::UnplugStick(const Arguments& arguments) {
    const std::lock_guard lock(m_stickMutex);
    const std::string name = Sticks::FullName(arguments[0]);
    if (!m_sticks.IsPlugged(name)) {
        throw ControlError("no stick named " + name + " is plugged");
    }
    m_content.StickOut(name);
    m_sticks.Remove(name);
    return {};
}

std::string FileVerbs::ReadStick(const Arguments& arguments) {
    const std::lock_guard lock(m_stickMutex);
    const std::string name = Sticks::FullName(arguments[0]);
    const std::string folder = arguments.caller.File(arguments[1]);
    MakeFolders(AT_FDCWD, folder);
    const Descriptor target = OpenFolder(AT_FDCWD, folder);
    if (m_sticks.IsPlugged(name)) {
        m_content.CopyStick(name, target.Get());
    } else {
        const Descriptor sticks = OpenFolder(m_state, "usb");
        CopyTree(OpenFolder(sticks.Get(), name).Get(), target.Get());
    }
    return {};
}

std::string FileVerbs::Cat(const Arguments& arguments) {
    return ReadToEnd(m_content.OpenPath(arguments[0]).Get());
}

std::string FileVerbs::Put(const Arguments& arguments) {
    // Through memory, so that a pipe can be the source too.
    const std::string file = arguments.caller.File(arguments[0]);
    const std::string content = ReadToEnd(OpenFile(file).Get());
    const Descriptor memory(::memfd_create("put", MFD_CLOEXEC));
    if (!memory || ::write(memory.Get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
        ::lseek(memory.Get(), 0, SEEK_SET) != 0) {
        throw SystemError(file);
    }
    m_content.PutPath(arguments[1], memory.Get());
    return {};
}

std::string FileVerbs::Remove(const Arguments& arguments) {
    m_content.RemovePath(arguments[0]);
    return {};
}

std::string FileVerbs::List(const Arguments& arguments) {
    std::string lines;
    for (const std::string& name : m_content.ListPath(arguments[0])) {
        lines += name + "\n";
    }
    return lines;
}

}  // namespace simset
