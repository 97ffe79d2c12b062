// What comes in and what goes out of the stock as files: key files of a folder, ranges of addresses, the export.
#ifndef ZELLINE_STOCK_DELIVERY_H
#define ZELLINE_STOCK_DELIVERY_H

#include <string>
#include <vector>

#include "stock/Stock.h"

namespace zelline {

// One item for each file of the folder, by name; hidden files (a name that begins with a dot) and folders are left
// out. Throws Error with Exit::Unusable for an unknown type, a folder that cannot be read or has no file, and a
// file that cannot be sent to a set.
std::vector<Item> KeysIn(const std::string& type, const std::string& folder);

// One item for each address from `first` to `last`, both included; a million at most. Throws Error with
// Exit::Unusable for anything that is no such range, or has addresses in it that no set can have.
std::vector<Item> AddressesFrom(const std::string& first, const std::string& last);

// Writes the items with their states, units and digests, without the content of keys. The kind follows the name's
// end: .csv or .json. The file is readable by its owner alone. Throws Error: with Exit::Unusable for any other
// end, with Exit::Record when it cannot be written, or is there already.
void Export(const std::vector<Item>& items, const std::string& path);

}  // namespace zelline

#endif
