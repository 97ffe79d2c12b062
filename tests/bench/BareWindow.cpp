// What the application shell is measured against: a program that does nothing but open the same window over the
// whole panel, show it and wait. Prints the milliseconds that DirectFB's start-up and the window took.
#include <directfb.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void Check(DFBResult result, const char* call) {
    if (result != DFB_OK) {
        DirectFBErrorFatal(call, result);
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    const Clock::time_point begin = Clock::now();
    IDirectFB* dfb = nullptr;
    Check(DirectFBInit(&argc, &argv), "DirectFBInit");
    Check(DirectFBCreate(&dfb), "DirectFBCreate");
    const double started = MillisecondsSince(begin);

    IDirectFBDisplayLayer* layer = nullptr;
    Check(dfb->GetDisplayLayer(dfb, DLID_PRIMARY, &layer), "GetDisplayLayer");
    layer->SetCooperativeLevel(layer, DLSCL_ADMINISTRATIVE);
    DFBDisplayLayerConfig config{};
    layer->GetConfiguration(layer, &config);
    DFBWindowDescription description{};
    description.flags = static_cast<DFBWindowDescriptionFlags>(DWDESC_POSX | DWDESC_POSY | DWDESC_WIDTH |
                                                               DWDESC_HEIGHT | DWDESC_CAPS);
    description.width = static_cast<unsigned>(config.width);
    description.height = static_cast<unsigned>(config.height);
    description.caps = DWCAPS_ALPHACHANNEL;
    IDirectFBWindow* window = nullptr;
    Check(layer->CreateWindow(layer, &description, &window), "CreateWindow");
    IDirectFBSurface* surface = nullptr;
    Check(window->GetSurface(window, &surface), "GetSurface");
    surface->Clear(surface, 0, 0, 0, 0);
    surface->Flip(surface, nullptr, DSFLIP_NONE);
    window->SetOpacity(window, 0xFF);

    std::printf("started %.3f shown %.3f\n", started, MillisecondsSince(begin));
    std::fflush(stdout);
    for (;;) {
        pause();
    }
}
