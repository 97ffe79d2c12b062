#include <algorithm>
#include <cstdio>
#include <optional>

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

// The row reader of both tables, which finds tuners and channels alike. An iterator that is kept beyond its read
// points to it, so it lives as long as the process.
FavlistObserverTableIteratorImpl& RowReader() {
    static FavlistObserverTableIteratorImpl& reader = *new FavlistObserverTableIteratorImpl;
    return reader;
}

// One read of all rows of a table, step by step. Each step logs its failure; the read has then ended and nothing
// is disconnected.
class TableRead {
  public:
    TableRead(const zel::CallSite& site, const char* key) : m_key(key), m_session(site) {}

    // Connects to the table and makes the iterator; null on failure.
    boost::shared_ptr<vumodelapi::TableIterator> Begin(const vumodelapi::TableSelectionList& selection) {
        vumodelapi::Table* const table = Connect();
        if (table == nullptr) {
            return nullptr;
        }
        m_iterator = table->createIterator(selection, &RowReader());
        if (m_iterator == nullptr) {
            zel::LogPrint("unable to create table iterator for service list!\n\n");
        }
        return m_iterator;
    }

    // Has m_i32ChannelCount filled and waits for that. The milliseconds waited; none on failure.
    std::optional<int> Count() {
        m_i32ChannelCount = 0;
        const std::int32_t status = m_iterator->totalCount();
        if (status != 0) {
            zel::LogPrint("totalCount failed, ret = %d\n", status);
            return std::nullopt;
        }
        return WaitInSteps(kTablePolls, [] { return m_i32ChannelCount > 0; }) * kPollMilliseconds;
    }

    // Has all rows read and waits until they have yielded what is looked for. The milliseconds waited; none on
    // failure.
    template <typename Found>
    std::optional<int> Rows(Found&& found) {
        const std::int32_t status = m_iterator->readNextRows(m_i32ChannelCount);
        if (status != 0) {
            zel::LogPrint("readNextRow failed, ret = %d\n", status);
            return std::nullopt;
        }
        zel::DelayMilliseconds(kPollMilliseconds);
        return WaitInSteps(kTablePolls, found) * kPollMilliseconds;
    }

    void End() { m_session.Root()->disconnect(m_key, &m_observer); }

  private:
    vumodelapi::Table* Connect() {
        vumodelapi::Table* table = nullptr;
        if (m_session.Root() != nullptr) {
            const std::int32_t status = m_session.Root()->connect(m_key, &m_observer, table);
            if (status != 0 || table == nullptr) {
                zel::LogPrint("connect failed, ret = %d\n", status);
                return nullptr;
            }
        }
        return table;
    }

    const char* m_key;
    FavlistObserverTableImpl m_observer;
    zel::ModelSession m_session;
    boost::shared_ptr<vumodelapi::TableIterator> m_iterator;
};

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
    return std::any_of(zel::kTuners.begin(), zel::kTuners.end(), [&](const zel::Tuner* tuner) {
        return tunerUuid == tuner->uuid.Get() && !tuner->channelUuid.Empty();
    });
}

}  // namespace

void ModelClient::ZelSetPresetChannel() {
    constexpr char kName[] = "ZelSetPresetChannel";
    zel::PrintIfFailed(ZelSetValue(zel::key::kSetLocation, kFactoryLocation), kName, zel::FixedLine(2277));
    zel::PrintIfFailed(ZelSetValue(zel::key::kOsdLanguage, kEnglish), kName, zel::FixedLine(2283));
    zel::PrintIfFailed(ZelSetFacPreset(kFactoryPreset), kName, zel::FixedLine(2296));
    zel::PrintIfFailed(ZelGetDvbUuid(), kName, zel::FixedLine(2303));

    for (const zel::Tuner* tuner : zel::kTuners) {
        if (!tuner->uuid.Empty()) {
            zel::PrintIfFailed(ZelGetDvbChannelList(tuner->uuid.Get()), kName, tuner->presetStep);
        }
    }
}

std::int32_t ModelClient::ZelSetFacPreset(const std::string& presetId) {
    const vumodelapi::ArgumentList arguments = zel::BuildArguments(presetId.c_str());
    vumodelapi::ArgumentList results;
    changePreSignalStateObserverImpl observer;
    const zel::ModelSession session({"ZelSetFacPreset", __LINE__});
    if (session.Root() == nullptr) {
        return -1;
    }
    vumodelapi::NumericInteger* message = nullptr;
    std::int32_t status = session.Root()->connect(zel::key::kMessageId, &observer, message);
    if (status != 0 || message == nullptr) {
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
    status = access->invoke(arguments, results);
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
    constexpr char kName[] = "ZelGetDvbUuid";
    m_bGeTunerUuidFinish = false;  // the rows to come are tuners
    TableRead read({kName, __LINE__}, zel::key::kFavouriteList);
    const auto iterator = read.Begin({});
    if (iterator == nullptr) {
        return -1;
    }
    ptrFavListTabLelterator = iterator;
    const std::optional<int> counted = read.Count();
    if (!counted) {
        return -1;
    }
    std::printf("ZelGetDvbUuid totalCount delay:%d ms\n", *counted);
    std::printf(" %s %d m_i32ChannelCount:%d\n", kName, zel::FixedLine(3062), m_i32ChannelCount.load());
    const std::optional<int> found = read.Rows(zel::AllTunersKnown);
    if (!found) {
        return -1;
    }
    std::printf("ZelGetDvbUuid readNextRows delay:%d ms\n", *found);
    read.End();
    m_bGeTunerUuidFinish = true;  // and from here on channels
    return 0;
}

std::int32_t ModelClient::ZelGetDvbChannelList(const std::string& tunerUuid) {
    constexpr char kName[] = "ZelGetDvbChannelList";
    TableRead read({kName, __LINE__}, zel::key::kServiceList);
    if (read.Begin(ChannelSelection(tunerUuid)) == nullptr) {
        return -1;
    }
    const std::optional<int> counted = read.Count();
    if (!counted) {
        return -1;
    }
    std::printf(" %s %d m_i32ChannelCount:%d delay:%d ms\n", kName, zel::FixedLine(2761), m_i32ChannelCount.load(),
                *counted);
    if (!read.Rows([&] { return ReferenceChannelFound(tunerUuid); })) {
        return -1;
    }
    read.End();
    return 0;
}
