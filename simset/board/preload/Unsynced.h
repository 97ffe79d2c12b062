// Lets simset judge an answer that goes out after its thread has written files and not synced them.
#ifndef SIMSET_PRELOAD_UNSYNCED_H
#define SIMSET_PRELOAD_UNSYNCED_H

namespace simset::preload {

// The calling thread has opened a file to write to it, or changed a folder.
void NoteWrite();

// The calling thread has called sync().
void NoteSync();

// The calling thread is about to write to the serial port: simset looks for what it has left unsynced. Once for
// each time that it wrote. Keeps errno.
void BeforeAnswer();

// Whether BeforeAnswer has anything to do.
bool HasWritten();

}  // namespace simset::preload

#endif
