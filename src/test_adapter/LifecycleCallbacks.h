// What the application does when the application manager's command client calls.
#ifndef ZELFAC_TEST_ADAPTER_LIFECYCLECALLBACKS_H
#define ZELFAC_TEST_ADAPTER_LIFECYCLECALLBACKS_H

#include "test_adapter/screen/Canvas.h"

// Each logs its arguments in one line (at most 127 characters, "NULL" for a null) and shows that line. A comment
// (s_comment) comes with a failed request. Called on the command reader.
void onResume_zel(const char* s_ack, const char* s_name, const char* s_comment);
void onPause(const char* s_ack, const char* s_name, const char* s_comment);
void recvCmd(const char* s_ack, const char* s_name, const char* s_comment);
// Also ends the process with exit status 1.
[[noreturn]] void onStop(const char* s_ack, const char* s_name, const char* s_comment);

namespace zel {

// The panel that the callbacks show their line on; null: none (yet, or any more). When it returns, no callback
// draws on the panel of before. Any thread.
void SetCallbackCanvas(Canvas* canvas);

}  // namespace zel

#endif
