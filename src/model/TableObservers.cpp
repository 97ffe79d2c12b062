#include "model/TableObservers.h"

#include <cstdio>
#include <iostream>
#include <string>

#include "model/ModelGlobals.h"

namespace {

// A column of a row, empty where the row is too short.
std::string Column(const vumodelapi::TableRow& row, std::size_t index) {
    return index < row.size() ? row[index] : std::string();
}

// Keeps `uuid` where it belongs, and says so.
void Keep(zel::SharedText& place, const char* placeName, const std::string& uuid) {
    place.Set(uuid);
    std::printf("%s:%s\n", placeName, uuid.c_str());
}

// Channel rows: column 2 is the identity, column 3 the tuning data.
void KeepReferenceChannel(const vumodelapi::TableRow& row) {
    for (const zel::Tuner* tuner : zel::kTuners) {
        if (Column(row, 3).find(tuner->channel) != std::string::npos) {
            Keep(tuner->channelUuid, tuner->channelUuidName, Column(row, 2));
        }
    }
}

// Tuner rows: column 0 is the identity, column 1 the name.
void KeepTuner(const vumodelapi::TableRow& row) {
    const std::string name = Column(row, 1);
    for (const zel::Tuner* tuner : zel::kTuners) {
        if (tuner->nameGoesOn ? name.rfind(tuner->name, 0) == 0 : name == tuner->name) {
            Keep(tuner->uuid, tuner->uuidName, Column(row, 0));
        }
    }
}

// Both tables' changes: the console of the line knows them by this one text, the number tells them apart.
void PrintTableUpdate(int line, std::int32_t update) {
    std::cout << "ChannelObserverTableImpl: new value " << std::endl;
    std::printf(" %s %d update:%d\n", "notifyUpdate", line, update);
}

}  // namespace

void ChannelObserverTableImpl::notifyUpdate(std::int32_t update) {
    PrintTableUpdate(zel::FixedLine(172), update);
}

void FavlistObserverTableImpl::notifyUpdate(std::int32_t update) {
    PrintTableUpdate(zel::FixedLine(360), update);
}

void ChannelObserverTableIteratorImpl::notifyReadRowChunk(const vumodelapi::TableRowChunk&) {
    std::cout << "notifyReadRowChunk " << std::endl;
    std::printf(" m_strAtvNum:%s m_strAtvUuid:%s \n m_strDtvNum:%s m_strDtvUuid:%s\n", m_strAtvNum.Get().c_str(),
                m_strAtvUuid.Get().c_str(), m_strDtvNum.Get().c_str(), m_strDtvUuid.Get().c_str());
}

void FavlistObserverTableIteratorImpl::notifyReadRow() {
    std::cout << "=========notifyReadRow=========" << std::endl;
    TracedTableIterator::notifyReadRow();
}

void FavlistObserverTableIteratorImpl::notifyReadRowChunk(const vumodelapi::TableRowChunk& rows) {
    std::printf("\n=========notifyReadRowChunk-rows.size():%d=========\n", static_cast<int>(rows.size()));
    for (const vumodelapi::TableRow& row : rows) {
        if (m_bGeTunerUuidFinish) {
            KeepReferenceChannel(row);
        } else {
            KeepTuner(row);
        }
    }
}
