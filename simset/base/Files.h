// Files and folder trees, by descriptor where two mount namespaces meet.
#ifndef SIMSET_BASE_FILES_H
#define SIMSET_BASE_FILES_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "simset/base/Descriptor.h"

namespace simset {

// Folder trees go by descriptor, so that the two ends may lie in different mount namespaces. File names may hold
// any bytes. Regular files, folders and symbolic links are carried, with their permission bits and times; anything
// else on a tree is left out. All of them throw std::system_error.

// The rest of what an open file or pipe holds.
std::string ReadToEnd(int fd);

// Opens a file for reading.
Descriptor OpenFile(const std::string& path);

// Writes a file anew. `path` is relative to `at`.
void WriteFile(int at, const std::string& path, const std::string& content);

// Opens a folder for use with the functions below.
Descriptor OpenFolder(int at, const std::string& path);

// Makes a folder and those above it (path relative to `at`).
void MakeFolders(int at, const std::string& path, unsigned mode = 0755);

// Copies the content of the folder `from` into the folder `to`, which should be empty.
void CopyTree(int from, int to);

// Copies one open file's content from its current place to its end.
void CopyContent(int from, int to);

// Removes a file, a link or a folder with all it holds; a missing one is no error.
void RemoveTree(int at, const std::string& name);

// Names in a folder, sorted, without "." and "..".
std::vector<std::string> ListFolder(int folder);

// A number that changes when anything below the folder changes (names, sizes, times, permissions). Costs one stat
// per entry and reads no file.
std::uint64_t TreeFingerprint(int folder);

// Has `fill` fill a new folder, of which it gets the descriptor, and puts that in the place of `name` in `at` at
// once, so that a reader finds the old content or the new one and nothing between; the old content is removed.
// When filling throws, the old content stays.
void ReplaceFolder(int at, const std::string& name, const std::function<void(int folder)>& fill);

}  // namespace simset

#endif
