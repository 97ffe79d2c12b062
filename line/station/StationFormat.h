// The keys of a station's file, for its reader, its page and the tool's help.
#ifndef ZELLINE_STATION_STATIONFORMAT_H
#define ZELLINE_STATION_STATIONFORMAT_H

#include "manual/FileFormat.h"

namespace zelline {

const manual::FileFormat& StationFormat();

enum class StationTable { Station, Page, Slot };

const manual::FileTable& KeysOf(StationTable table);

}  // namespace zelline

#endif
