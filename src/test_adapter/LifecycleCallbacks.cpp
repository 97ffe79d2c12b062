#include "test_adapter/LifecycleCallbacks.h"

#include <cstdio>
#include <mutex>
#include <string>

#include "UartManager/UartManager.h"
#include "amclient/AmClient.h"
#include "os/Thread.h"
#include "test_adapter/screen/StatusPictures.h"

namespace {

std::mutex s_canvasMutex;
zel::Canvas* s_canvas = nullptr;

std::string RequestLine(const char* callback, const char* s_ack, const char* s_name, const char* s_comment) {
    const auto orNull = [](const char* text) { return text == nullptr ? "NULL" : text; };
    char line[128] = {};
    std::snprintf(line, sizeof line, "[APP-DEMO][%d][%s]s_ack:%s,s_name:%s,s_comment:%s\r\n", zel::ProcessId(),
                  callback, orNull(s_ack), orNull(s_name), orNull(s_comment));
    return line;
}

void PrintNow(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

void ShowLine(const std::string& line) {
    const UartManager* manager = UartManager::GetInstance();
    const bool aging = manager != nullptr && manager->IsAgingMode();
    const std::lock_guard<std::mutex> lock(s_canvasMutex);
    if (s_canvas != nullptr) {
        s_canvas->Show(zel::ManagerLinePicture(aging, line));
    }
}

}  // namespace

void onResume_zel(const char* s_ack, const char* s_name, const char* s_comment) {
    const std::string line = RequestLine("onResume_zel", s_ack, s_name, s_comment);
    PrintNow(line);
    AmClientReportResumed(s_ack, g_am_client.name);
    if (s_comment != nullptr) {
        PrintNow("on Resume error\n");
    }
    ShowLine(line);
}

void onPause(const char* s_ack, const char* s_name, const char* s_comment) {
    const std::string line = RequestLine("onPause", s_ack, s_name, s_comment);
    AmClientReportPaused(s_ack, g_am_client.name);
    if (s_comment != nullptr) {
        PrintNow("on pause error\n");
    }
    ShowLine(line);
    PrintNow(line);
}

void onStop(const char* s_ack, const char* s_name, const char* s_comment) {
    const std::string line = RequestLine("onStop", s_ack, s_name, s_comment);
    if (s_comment != nullptr) {
        PrintNow("on stop error\n");
    }
    ShowLine(line);
    PrintNow(line);
    AmClientShutdown();
    AmClientDrain();
    zel::EndProcess(1);
}

void recvCmd(const char* s_ack, const char* s_name, const char* s_comment) {
    const std::string line = RequestLine("recvCmd", s_ack, s_name, s_comment);
    ShowLine(line);
    PrintNow(line);
}

void zel::SetCallbackCanvas(Canvas* canvas) {
    const std::lock_guard<std::mutex> lock(s_canvasMutex);
    s_canvas = canvas;
}
