// Files and folders of the set, by their own paths. Callable from any thread; one file is one thread's.
#ifndef ZELFAC_OS_FILE_H
#define ZELFAC_OS_FILE_H

#include <dirent.h>

#include <cstdio>
#include <memory>
#include <string>

namespace zel {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, FolderCloser>;

// fopen; null on failure. The shells that the application starts do not inherit the file.
File OpenFile(const std::string& path, const char* mode);

// opendir; null on failure.
Folder OpenFolder(const std::string& path);

// rename(2): `to` is replaced in one step. False on failure.
bool RenameFile(const std::string& from, const std::string& to);

// unlink(2), whatever comes of it.
void RemoveFile(const std::string& path);

// At most `limit` bytes from the file's place on.
std::string ReadUpTo(std::FILE* file, std::size_t limit);

// The text that reading at most `limit` bytes into a zeroed buffer gives: what stands before the first zero byte.
std::string ReadTextUpTo(std::FILE* file, std::size_t limit);

// Writes `bytes` and hands them to the system. False when not all of them could be written.
bool WriteAll(std::FILE* file, const std::string& bytes);

// Makes `bytes` the content of the file at `path`. They are written to `beside` first, a path in the same folder,
// and take the other's place once they are on the disk: whatever goes wrong, a power cut included, leaves the
// former content or the new one, whole. False when it is still the former. The caller syncs.
bool ReplaceFile(const std::string& path, const std::string& beside, const std::string& bytes);

}  // namespace zel

#endif
