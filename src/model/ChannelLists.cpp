#include <cstdio>

#include "model/Arguments.h"
#include "model/ModelClient.h"
#include "model/ModelCycle.h"
#include "model/ModelGlobals.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"
#include "model/TableObservers.h"

namespace {

constexpr std::int32_t kFactoryLocation = 8;  // of the location setting: factory
constexpr std::int32_t kEnglish = 1;          // of the menu language
constexpr char kFactoryPreset[] = "38";       // the preset database's factory entry

constexpr int kPollMilliseconds = 50;
constexpr int kTablePolls = 10;
constexpr int kPresetPolls = 100;
constexpr int kPresetFirstMilliseconds = 100;

// Waits in steps of 50 ms until `done`, at most `limit` of them. Returns the number of steps waited.
template <typename Done>
int WaitInSteps(int limit, Done&& done) {
    int steps = 0;
    while (steps < limit && !done()) {
        zel::DelayMilliseconds(kPollMilliseconds);
        ++steps;
    }
    return steps;
}

// One read of all rows of a table by the favourite list's row reader, which finds tuners and channels alike.
struct TableRead {
    const char* operation;
    int line;
    const char* key;
    vumodelapi::TableSelectionList selection;
};

// Runs `read`: `iterating(iterator)` once the iterator is there, `counted(ms)` when the number of rows is known or
// was waited for in vain, `found()` says when the rows have yielded what is looked for, `ended(ms)` after waiting
// for that. Returns 0, or -1 after a log line; then nothing was disconnected.
template <typename Iterating, typename Counted, typename Found, typename Ended>
std::int32_t ReadTable(const TableRead& read, Iterating&& iterating, Counted&& counted, Found&& found,
                       Ended&& ended) {
    FavlistObserverTableImpl observer;
    FavlistObserverTableIteratorImpl rowReader;
    const zel::ModelSession session({read.operation, read.line});
    if (session.Root() == nullptr) {
        return -1;
    }
    vumodelapi::Table* table = nullptr;
    std::int32_t status = session.Root()->connect(read.key, &observer, table);
    if (status != 0) {
        zel::LogPrint("connect failed, ret = %d\n", status);
        return -1;
    }
    const boost::shared_ptr<vumodelapi::TableIterator> iterator =
        table->createIterator(read.selection, &rowReader);
    if (iterator == nullptr) {
        zel::LogPrint("unable to create table iterator for service list!\n\n");
        return -1;
    }
    iterating(iterator);

    m_i32ChannelCount = 0;
    status = iterator->totalCount();
    if (status != 0) {
        zel::LogPrint("totalCount failed, ret = %d\n", status);
        return -1;
    }
    counted(WaitInSteps(kTablePolls, [] { return m_i32ChannelCount > 0; }) * kPollMilliseconds);

    status = iterator->readNextRows(m_i32ChannelCount);
    if (status != 0) {
        zel::LogPrint("readNextRow failed, ret = %d\n", status);
        return -1;
    }
    zel::DelayMilliseconds(kPollMilliseconds);
    ended(WaitInSteps(kTablePolls, found) * kPollMilliseconds);
    session.Root()->disconnect(read.key, &observer);
    return 0;
}

// Six columns of the service list, and the tuner to which the rows are to belong (operation 1 on column 6).
vumodelapi::TableSelectionList ChannelSelection(const std::string& tunerUuid) {
    vumodelapi::TableSelectionList selection;
    for (const std::int32_t code : {6, 0, 7, 2, 35, 1}) {
        selection.push_back({code, 0, ""});
    }
    selection.push_back(vumodelapi::TableSelection{6, 1, tunerUuid});
    return selection;
}

// Whether the reference channel of the tuner `tunerUuid` is known.
bool ReferenceChannelFound(const std::string& tunerUuid) {
    return (tunerUuid == dst_ATV_tuner_uuid.Get() && !m_strAtvUuid.Empty()) ||
           (tunerUuid == dst_DTV_tuner_uuid.Get() && !m_strDtvUuid.Empty()) ||
           (tunerUuid == dst_DTVS2_tuner_uuid.Get() && !m_strDtvS2Uuid.Empty());
}

}  // namespace

void ModelClient::ZelSetPresetChannel() {
    constexpr char kName[] = "ZelSetPresetChannel";
    zel::PrintIfFailed(ZelSetValue(zel::key::kSetLocation, kFactoryLocation), kName, 2277);
    zel::PrintIfFailed(ZelSetValue(zel::key::kOsdLanguage, kEnglish), kName, 2283);
    zel::PrintIfFailed(ZelSetFacPreset(kFactoryPreset), kName, 2296);
    zel::PrintIfFailed(ZelGetDvbUuid(), kName, 2303);

    const auto readChannels = [&](const zel::SharedText& tunerUuid, int step) {
        if (!tunerUuid.Empty()) {
            zel::PrintIfFailed(ZelGetDvbChannelList(tunerUuid.Get()), kName, step);
        }
    };
    readChannels(dst_ATV_tuner_uuid, 2312);
    readChannels(dst_DTV_tuner_uuid, 2322);
    readChannels(dst_DTVS2_tuner_uuid, 2332);
}

std::int32_t ModelClient::ZelSetFacPreset(const std::string& presetId) {
    changePreSignalStateObserverImpl observer;
    const zel::ModelSession session({"ZelSetFacPreset", __LINE__});
    if (session.Root() == nullptr) {
        return -1;
    }
    vumodelapi::NumericInteger* message = nullptr;
    std::int32_t status = session.Root()->connect(zel::key::kMessageId, &observer, message);
    if (status != 0) {
        zel::LogPrint("connect failed, ret = %d\n", status);
        return -1;
    }
    constexpr vumodelapi::ObserverAction* kNobody = nullptr;
    vumodelapi::Action* access = nullptr;
    status = session.Root()->connect(zel::key::kPresetDatabase, kNobody, access);
    if (status != 0 || access == nullptr) {
        zel::LogPrint("connect failed or access == NULL ret = %d\n", status);
        return status;
    }
    vumodelapi::ArgumentList results;
    status = access->invoke(zel::BuildArguments(presetId.c_str()), results);
    if (status != 0) {
        zel::LogPrint("invoke failed, ret = %d\n", status);
        return -1;
    }

    zel::DelayMilliseconds(kPresetFirstMilliseconds);
    const int steps = WaitInSteps(kPresetPolls, [] { return m_bPresetChannelFinish.load(); });
    std::printf("u8DelayCount = %d delay:%d ms\n", steps, steps * kPollMilliseconds + kPresetFirstMilliseconds);

    session.Root()->disconnect(zel::key::kPresetDatabase, kNobody);
    session.Root()->disconnect(zel::key::kMessageId, &observer);
    return 0;
}

std::int32_t ModelClient::ZelGetDvbUuid() {
    m_bGeTunerUuidFinish = false;  // the rows to come are tuners
    const TableRead read = {"ZelGetDvbUuid", __LINE__, zel::key::kFavouriteList, {}};
    const std::int32_t result = ReadTable(
        read,
        [](const boost::shared_ptr<vumodelapi::TableIterator>& iterator) { ptrFavListTabLelterator = iterator; },
        [](int milliseconds) {
            std::printf("ZelGetDvbUuid totalCount delay:%d ms\n", milliseconds);
            std::printf(" %s %d m_i32ChannelCount:%d\n", "ZelGetDvbUuid", 3062, m_i32ChannelCount.load());
        },
        [] { return !dst_ATV_tuner_uuid.Empty() && !dst_DTV_tuner_uuid.Empty() && !dst_DTVS2_tuner_uuid.Empty(); },
        [](int milliseconds) { std::printf("ZelGetDvbUuid readNextRows delay:%d ms\n", milliseconds); });
    if (result == 0) {
        m_bGeTunerUuidFinish = true;  // and from here on channels
    }
    return result;
}

std::int32_t ModelClient::ZelGetDvbChannelList(const std::string& tunerUuid) {
    const TableRead read = {"ZelGetDvbChannelList", __LINE__, zel::key::kServiceList, ChannelSelection(tunerUuid)};
    return ReadTable(
        read, [](const boost::shared_ptr<vumodelapi::TableIterator>&) {},
        [](int milliseconds) {
            std::printf(" %s %d m_i32ChannelCount:%d delay:%d ms\n", "ZelGetDvbChannelList", 2761,
                        m_i32ChannelCount.load(), milliseconds);
        },
        [&] { return ReferenceChannelFound(tunerUuid); }, [](int) {});
}
