#include "simset/stick/Layout.h"

namespace simset::stick {

const std::array<Item, 8> kItems = {{
    {ItemKind::Configuration, "configuration", "CONFIG", "CONFIG.bin", "config Err;", "CONFIG.bin", 0},
    {ItemKind::Key, "HDCP 1.4 key", "HDCP14KEY", "HDCP14MTK9602", "hdcp14 Err;", "HDCP14MTK9602_", 572},
    {ItemKind::Key, "HDCP 2.2 key", "HDCP22KEY", "HDCP22MTK9602", "hdcp22 Err;", "HDCP22MTK9602_", 1044},
    {ItemKind::Key, "Widevine key", "widevine_9602", "WIDEVNMTK9602", "wvcenc Err;", "WIDEVNMTK9602_", 384},
    {ItemKind::Key, "Netflix key", "Netflix_9602", "NETFLIXMT9602", "netflix Err;", "NETFLIXMT9602_", 256},
    {ItemKind::Key, "CI+ key", "CI+", "CIPLUSMTK9602", "ci Err;", "CIPLUSMTK9602_", 4096},
    {ItemKind::Key, "CI+ ECP key", "ECP_CI+", "ECPCIPLUSMTK9602", "ci ecp Err;", "ECPCIPLUSMTK9602_", 4096},
    {ItemKind::MacRange, "MAC address", "MAC", "mac.txt", "mac Err;", "mac.txt", 0},
}};

}  // namespace simset::stick
