// The panel through DirectFB: one window over the whole primary layer.
#ifndef ZELFAC_TEST_ADAPTER_SCREEN_STATUSSCREEN_H
#define ZELFAC_TEST_ADAPTER_SCREEN_STATUSSCREEN_H

#include <directfb.h>

#include <cstdint>
#include <mutex>

#include "test_adapter/screen/Canvas.h"

class StatusScreen final : public zel::Canvas {
  public:
    // Sets the screen up; a failure is fatal: it is printed and the process exits with DirectFB's own code.
    // `argc` and `argv` are main's; DirectFB takes its options out of them. Main thread.
    StatusScreen(int* argc, char*** argv);
    ~StatusScreen();
    StatusScreen(const StatusScreen&) = delete;
    StatusScreen& operator=(const StatusScreen&) = delete;

    std::int32_t Width() const override { return layer_config.width; }
    std::int32_t Height() const override { return layer_config.height; }
    std::int32_t FontHeight() const override { return fontheight; }
    void Show(const zel::Picture& picture) override;
    zel::InputWait WaitForInput(std::uint32_t milliseconds) override;

  private:
    void CreateFont();
    void CreateWindow();

    IDirectFB* dfb = nullptr;
    IDirectFBDisplayLayer* layer = nullptr;
    DFBDisplayLayerConfig layer_config{};
    IDirectFBFont* font = nullptr;
    int fontheight = 0;
    IDirectFBWindow* win = nullptr;
    IDirectFBSurface* surf = nullptr;
    IDirectFBEventBuffer* m_events = nullptr;

    std::mutex m_drawMutex;  // the main thread and the manager's callbacks draw on one surface
    bool m_visible = false;
};

#endif
