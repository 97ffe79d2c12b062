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

bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// Channel rows: column 2 is the identity, column 3 the tuning data. A reference channel is known by its place in
// the spectrum, which the factory's signal fixes.
void KeepReferenceChannel(const vumodelapi::TableRow& row) {
    const std::string uuid = Column(row, 2);
    const std::string tuning = Column(row, 3);
    if (Contains(tuning, "frequency=60000")) {
        m_strAtvUuid.Set(uuid);
        std::printf("m_strAtvUuid:%s\n", uuid.c_str());
    }
    if (Contains(tuning, "frequency=666000")) {
        m_strDtvUuid.Set(uuid);
        std::printf("m_strDtvUuid:%s\n", uuid.c_str());
    }
    if (Contains(tuning, "symbolrate=27500")) {
        m_strDtvS2Uuid.Set(uuid);
        std::printf("m_strDtvS2Uuid:%s\n", uuid.c_str());
    }
}

// Tuner rows: column 0 is the identity, column 1 the name. A satellite tuner's name goes on with its position.
void KeepTuner(const vumodelapi::TableRow& row) {
    const std::string uuid = Column(row, 0);
    const std::string name = Column(row, 1);
    if (name == "Analog") {
        dst_ATV_tuner_uuid.Set(uuid);
        std::printf("dst_ATV_tuner_uuid:%s\n", uuid.c_str());
    }
    if (name == "Antenna") {
        dst_DTV_tuner_uuid.Set(uuid);
        std::printf("dst_DTV_tuner_uuid:%s\n", uuid.c_str());
    }
    if (name.rfind("Astra", 0) == 0) {
        dst_DTVS2_tuner_uuid.Set(uuid);
        std::printf("dst_DTVS2_tuner_uuid:%s\n", uuid.c_str());
    }
}

}  // namespace

void ChannelObserverTableImpl::notifyUpdate(std::int32_t update) {
    std::cout << "ChannelObserverTableImpl: new value " << std::endl;
    std::printf(" %s %d update:%d\n", "notifyUpdate", 172, update);
}

void FavlistObserverTableImpl::notifyUpdate(std::int32_t update) {
    // The console of the line knows both lists by this one text; the number tells them apart.
    std::cout << "ChannelObserverTableImpl: new value " << std::endl;
    std::printf(" %s %d update:%d\n", "notifyUpdate", 360, update);
}

void ChannelObserverTableIteratorImpl::notifyCommit(std::int32_t result) {
    std::printf(" %s %d result:%d\n", "notifyCommit", 191, result);
}

void ChannelObserverTableIteratorImpl::notifyTotalCount(std::int32_t count) {
    m_i32ChannelCount = count;
    std::printf(" %s %d m_i32ChannelCount:%d\n", "notifyTotalCount", 201, count);
}

void ChannelObserverTableIteratorImpl::notifySeekToRow(std::int32_t result) {
    std::printf(" %s %d res:%d\n", "notifySeekToRow", 211, result);
}

void ChannelObserverTableIteratorImpl::notifySeekToContent(std::int32_t result) {
    std::printf(" %s %d res:%d\n", "notifySeekToContent", 221, result);
}

void ChannelObserverTableIteratorImpl::notifyCursorPosition(std::int32_t result) {
    std::printf(" %s %d res:%d\n", "notifyCursorPosition", 231, result);
}

void ChannelObserverTableIteratorImpl::notifyReadRow() {
    std::printf(" %s %d \n", "notifyReadRow", 244);
}

void ChannelObserverTableIteratorImpl::notifyReadRowChunk(const vumodelapi::TableRowChunk&) {
    std::cout << "notifyReadRowChunk " << std::endl;
    std::printf(" m_strAtvNum:%s m_strAtvUuid:%s \n m_strDtvNum:%s m_strDtvUuid:%s\n", m_strAtvNum.Get().c_str(),
                m_strAtvUuid.Get().c_str(), m_strDtvNum.Get().c_str(), m_strDtvUuid.Get().c_str());
}

void ChannelObserverTableIteratorImpl::notifyIteratorReady() {
    std::printf(" %s %d \n", "notifyIteratorReady", 314);
}

void ChannelObserverTableIteratorImpl::notifyUpdate(std::int32_t update) {
    std::printf(" %s %d update:%d\n", "notifyUpdate", 324, update);
}

void FavlistObserverTableIteratorImpl::notifyCommit(std::int32_t result) {
    std::printf(" %s %d result:%d\n", "notifyCommit", 379, result);
}

void FavlistObserverTableIteratorImpl::notifyTotalCount(std::int32_t count) {
    m_i32ChannelCount = count;
    std::printf(" %s %d m_i32ChannelCount:%d\n", "notifyTotalCount", 389, count);
}

void FavlistObserverTableIteratorImpl::notifySeekToRow(std::int32_t result) {
    std::printf(" %s %d res:%d\n", "notifySeekToRow", 399, result);
}

void FavlistObserverTableIteratorImpl::notifySeekToContent(std::int32_t result) {
    std::printf(" %s %d res:%d\n", "notifySeekToContent", 409, result);
}

void FavlistObserverTableIteratorImpl::notifyCursorPosition(std::int32_t result) {
    std::printf(" %s %d res:%d\n", "notifyCursorPosition", 419, result);
}

void FavlistObserverTableIteratorImpl::notifyReadRow() {
    std::cout << "=========notifyReadRow=========" << std::endl;
    std::printf(" %s %d \n", "notifyReadRow", 432);
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

void FavlistObserverTableIteratorImpl::notifyIteratorReady() {
    std::printf(" %s %d \n", "notifyIteratorReady", 516);
}

void FavlistObserverTableIteratorImpl::notifyUpdate(std::int32_t update) {
    std::printf(" %s %d update:%d\n", "notifyUpdate", 526, update);
}
