// The operating system's seams, played from the script.
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "os/Delay.h"
#include "os/File.h"
#include "os/SerialPort.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "os/Thread.h"
#include "scripted/Script.h"

using scripted::Answer;
using scripted::Script;

namespace zel {

void DelayMicroseconds(std::uint32_t microseconds) {
    Script::Current().Call("delay " + std::to_string(microseconds));
}

void DelaySeconds(std::uint32_t seconds) {
    Script::Current().Call("delay-seconds " + std::to_string(seconds));
}

bool RunUnread(const std::string& command) {
    return Script::Current().Call("popen " + command).result == 0;
}

int RunSystem(const std::string& command) {
    return Script::Current().Call("system " + command).result;
}

std::string ReadOutput(const std::string& command) {
    return Script::Current().Call("output " + command).text.value_or("");
}

void SyncStorage() {
    Script::Current().Call("sync");
}

int RemountReadWrite(const char* mountPoint) {
    return Script::Current().Call(std::string("remount ") + mountPoint).result;
}

void MakePrivateFolder(const char* path) {
    Script::Current().Call(std::string("private ") + path);
}

void RemoveEmptyFolder(const char* path) {
    Script::Current().Call(std::string("rmdir ") + path);
}

File OpenFile(const std::string& path, const char* mode) {
    Script& script = Script::Current();
    return File(script.OpenFails(path) ? nullptr : std::fopen(script.FilePath(path).c_str(), mode));
}

bool RenameFile(const std::string& from, const std::string& to) {
    Script& script = Script::Current();
    return std::rename(script.FilePath(from).c_str(), script.FilePath(to).c_str()) == 0;
}

void RemoveFile(const std::string& path) {
    std::remove(Script::Current().FilePath(path).c_str());
}

Folder OpenFolder(const std::string& path) {
    Script& script = Script::Current();
    return Folder(script.OpenFails(path) ? nullptr : opendir(script.FilePath(path).c_str()));
}

// Real, for tests in a process of their own.
int ProcessId() {
    return getpid();
}

void EndProcess(int status) {
    _exit(status);
}

int StartThread(pthread_t& thread, ThreadEntry entry, void* argument, int) {
    Script& script = Script::Current();
    const Answer answer = script.Call("start-thread");
    if (answer.result == 0) {
        script.KeepThread([entry, argument] { entry(argument); });
        thread = pthread_self();
    }
    return answer.result;
}

int JoinThread(pthread_t) {
    return Script::Current().Call("join").result;
}

void DetachThisThread() {}

void NameThread(const char* name) {
    Script::Current().KeepThreadName(name);
}

int OpenSerialPort(const char* path) {
    constexpr int kUsualDescriptor = 3;
    return Script::Current().Call(std::string("serial.open ") + path, kUsualDescriptor).result;
}

void ConfigureSerialPort(int descriptor) {
    Script::Current().Call("serial.configure " + std::to_string(descriptor));
}

ssize_t ReadSerialPort(int, std::uint8_t* bytes, std::size_t size) {
    const Answer answer = Script::Current().Call("serial.read");
    const std::string text = answer.text.value_or("");
    if (text.size() > size) {
        ADD_FAILURE() << "serial.read has room for " << size << " bytes only, the script gives " << text.size();
    }
    const std::size_t count = std::min(text.size(), size);
    std::copy_n(text.begin(), count, bytes);
    return answer.result != 0 ? answer.result : static_cast<ssize_t>(count);
}

ssize_t WriteSerialPort(int, const std::uint8_t* bytes, std::size_t size) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string call = "serial.write";
    for (std::size_t i = 0; i < size; ++i) {
        call += ' ';
        call += kDigits[bytes[i] >> 4];
        call += kDigits[bytes[i] & 0x0F];
    }
    return Script::Current().Call(call, static_cast<int>(size)).result;
}

void CloseSerialPort(int descriptor) {
    Script::Current().Call("serial.close " + std::to_string(descriptor));
}

}  // namespace zel
