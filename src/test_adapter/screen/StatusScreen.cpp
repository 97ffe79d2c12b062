#include "test_adapter/screen/StatusScreen.h"

#include <cstdio>

#include "log/FixedLine.h"
#include "test_adapter/screen/ScreenInput.h"

namespace {

constexpr const char* kFontPath = "/config/font/DejaVuSans.ttf";
constexpr int kFontsPerWidth = 42;

// `call` is the text of what gave `result`.
void Check(DFBResult result, int line, const char* call) {
    if (result != DFB_OK) {
        std::fprintf(stderr, "%s <%d>:\n\t", "./src/test_adapter", line);
        DirectFBErrorFatal(call, result);
    }
}

template <typename Interface>
void Release(Interface*& interface) {
    if (interface != nullptr) {
        interface->Release(interface);
        interface = nullptr;
    }
}

void SetColor(IDirectFBSurface* surface, zel::Color color) {
    surface->SetColor(surface, color.red, color.green, color.blue, color.alpha);
}

}  // namespace

StatusScreen::StatusScreen(int* argc, char*** argv) {
    Check(DirectFBInit(argc, argv), zel::FixedLine(521), "DirectFBInit( &argc, &argv )");
    Check(DirectFBCreate(&dfb), zel::FixedLine(522), "DirectFBCreate( &dfb )");
    Check(dfb->GetDisplayLayer(dfb, DLID_PRIMARY, &layer), zel::FixedLine(527),
          "dfb->GetDisplayLayer( dfb, DLID_PRIMARY, &layer )");
    layer->SetCooperativeLevel(layer, DLSCL_ADMINISTRATIVE);
    layer->GetConfiguration(layer, &layer_config);
    layer->EnableCursor(layer, 0);  // a mouse on a USB port must not put its arrow over colours to be judged
    CreateFont();
    CreateWindow();
}

StatusScreen::~StatusScreen() {
    Release(m_events);
    Release(font);
    Release(surf);
    Release(win);
    Release(layer);
    Release(dfb);
}

void StatusScreen::CreateFont() {
    DFBFontDescription desc{};
    desc.flags = DFDESC_HEIGHT;
    desc.height = layer_config.width / kFontsPerWidth;
    Check(dfb->CreateFont(dfb, kFontPath, &desc, &font), zel::FixedLine(542),
          "dfb->CreateFont( dfb, \"/config/font/DejaVuSans.ttf\", &desc, &font )");
    font->GetHeight(font, &fontheight);
}

void StatusScreen::CreateWindow() {
    DFBWindowDescription desc{};
    desc.flags = static_cast<DFBWindowDescriptionFlags>(DWDESC_POSX | DWDESC_POSY | DWDESC_WIDTH | DWDESC_HEIGHT |
                                                        DWDESC_CAPS);
    desc.posx = 0;
    desc.posy = 0;
    desc.width = layer_config.width;
    desc.height = layer_config.height;
    desc.caps = DWCAPS_ALPHACHANNEL;
    Check(layer->CreateWindow(layer, &desc, &win), zel::FixedLine(559),
          "layer->CreateWindow( layer, &desc, &win )");
    win->GetSurface(win, &surf);
    // Global: any other buffer gets events of a focused primary surface only, and there is none here.
    dfb->CreateInputEventBuffer(dfb, DICAPS_ALL, DFB_TRUE, &m_events);
    Check(surf != nullptr ? surf->SetFont(surf, font) : DFB_FAILURE, zel::FixedLine(567),
          "surf->SetFont( surf, font )");
}

void StatusScreen::Show(const zel::Picture& picture) {
    const std::lock_guard<std::mutex> lock(m_drawMutex);
    if (picture.background) {
        const zel::Color& color = *picture.background;
        surf->Clear(surf, color.red, color.green, color.blue, color.alpha);
    }
    if (picture.band) {
        SetColor(surf, picture.band->color);
        surf->FillRectangle(surf, 0, picture.band->row * fontheight, layer_config.width, fontheight);
    }
    for (const zel::PictureText& text : picture.texts) {
        SetColor(surf, text.color);
        surf->DrawString(surf, text.text.c_str(), -1, text.column * fontheight, text.row * fontheight,
                         DSTF_TOPLEFT);
    }
    surf->Flip(surf, nullptr, DSFLIP_NONE);
    if (!m_visible) {
        // Only now, so that the panel never shows an undrawn window.
        win->SetOpacity(win, 0xFF);
        m_visible = true;
    }
}

zel::InputWait StatusScreen::WaitForInput(std::uint32_t milliseconds) {
    return zel::FetchInput(m_events, milliseconds);
}
