// The factory serial link and everything that the factory equipment can ask of the set through it.
#ifndef ZELFAC_UARTMANAGER_UARTMANAGER_H
#define ZELFAC_UARTMANAGER_UARTMANAGER_H

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "model/ModelClient.h"
#include "protocol/RxParser.h"
#include "protocol/UartFrame.h"

class UartManager;

namespace zel {

enum class RunMode : std::uint8_t { None = 0, Factory = 1, Aging = 2, UsbUpdate = 3 };

struct KeyPressCounters;
std::shared_ptr<KeyPressCounters> MakeKeyPressCounters();  // defined in commands/

enum class KeyFile : std::uint8_t;
class KeyTransfer;
std::shared_ptr<KeyTransfer> MakeKeyTransfer(UartManager& manager);  // defined in provisioning/

struct RadioScan;
std::shared_ptr<RadioScan> MakeRadioScan();  // defined in connectivity/

}  // namespace zel

// One object per process, created on first use and never destroyed. It owns the port, the link's two threads, the
// queues between them and the lock under which every frame is written; the command handlers are its member
// operations, each defined in the room that owns its subject. Unless a declaration says otherwise an operation
// runs on the command thread or on the main thread during start-up.
class UartManager : public ModelClient {
  public:
    // ---- The object (UartManager/) ------------------------------------------------------------------------

    // The one object; null when there was no memory for it. Any thread, after main has called it once.
    static UartManager* GetInstance();

    inline static UartManager* m_UartInstance = nullptr;
    inline static std::atomic<std::int32_t> input_fd{-1};  // the port's descriptor, -1 while it is closed
    // 1: the link's threads are to stop or do not run, 0: they run.
    inline static std::atomic<std::uint8_t> _bExitUartDebug{1};

    UartManager();
    virtual ~UartManager();
    UartManager(const UartManager&) = delete;
    UartManager& operator=(const UartManager&) = delete;

    // Starts the reader and the command thread. 1 when they run (also when they already did), 0 on failure.
    std::int32_t Start();
    // Asks both threads to leave and joins them (within about 0.5 s); nothing when the link does not run. On the
    // command thread itself the join of that thread is reported as an error and the thread leaves at its next
    // pass.
    void Stop();

    // What the process is for; none until start-up has found out. Any thread.
    void SetRunMode(zel::RunMode mode) { m_runMode = mode; }
    void SetRunMode(std::uint8_t mode);  // by its number; above 3 none
    zel::RunMode GetRunMode() const { return m_runMode; }
    bool IsFactoryMode() const { return m_runMode == zel::RunMode::Factory; }
    bool IsAgingMode() const { return m_runMode == zel::RunMode::Aging; }
    bool IsUsbUpdateMode() const { return m_runMode == zel::RunMode::UsbUpdate; }
    // Whether what the status screen shows has changed; set by the commands, reset by the screen. Any thread.
    std::uint8_t GetStatusChanged() const { return m_u8StatusChanged; }
    void SetStatusChanged(std::uint8_t changed) { m_u8StatusChanged = changed; }

    // zel::LogPrint, by the link's own name.
    [[gnu::format(printf, 1, 2)]] static int LogPrint(const char* format, ...);

    // ---- Threads of the link (UartManager/) ---------------------------------------------------------------

    // The port reader: opens the port, collects bursts of bytes (a burst ends with 0.5 s of silence or 307,200
    // bytes) into the raw queue until the link stops, closes the port.
    virtual void ZelUartReadLoop();

    static void* ZelInitThread(void* manager);
    static void* ZelUartCommandThread(void* manager);
    static void* ZelKeyUpgradeThread(void* manager);  // defined in provisioning/
    static void* ZelWifiScanThread(void* manager);    // defined in connectivity/

    // One pass of the command thread: at most one burst parsed, at most one frame decoded, the ready frame when
    // it is due. `readyCounter` counts passes while the line has not connected.
    void RunCommandPass(std::uint32_t& readyCounter);

    // Drops all frames received but not decoded yet. Any thread.
    void ClearPendingFrames();
    // Appends a burst to the raw queue, or drops it when too much waits there; the first of a flood with a log
    // line. The reader's; any thread.
    void QueueRawBlock(std::vector<std::uint8_t> block);

    // ---- Replies (UartManager/) ---------------------------------------------------------------------------
    // Any thread; the frames of several threads never interleave on the wire.

    // Writes one frame; start, end and checksum are made afresh. A closed port loses the frame with a log line.
    void SendFrame(UartFrame frame);
    // One status byte: 0 success, 1 failure.
    void SendStatusReply(std::uint16_t commandId, std::uint8_t status);

    std::atomic<std::uint8_t> m_bConnected{0};  // 1 once the line has sent the connect command

    // ---- Commands (commands/) -----------------------------------------------------------------------------

    // Carries out one received frame and answers it. Command thread only.
    void ZelDecodeFacAutoTestCommand(UartFrame frame);

    // The answer of a data query, the ready frame or a key press report. `subCode` is the key code for 0x1287,
    // `text` the query name for 0x129E, " " elsewhere. Ids without an answer send nothing. Any thread.
    void SendCommand(std::int32_t commandId, std::int32_t subCode, const std::string& text);

    const std::shared_ptr<zel::KeyPressCounters> m_keyPressCounters = zel::MakeKeyPressCounters();

    // Shows the named input and puts the sound into its measuring state. 0, or -1.
    std::int32_t ZelUartCmdSourceCheck(UartFrame frame);

    // Start-up flows; failures are printed and the flow goes on. Main thread.
    void ZelFacAutoTestBeforSetDefaultSetting();
    void ZelFacAutoTestAfterSetDefaultSetting();
    void ZelBurnModeBeforSetDefaultSetting();

    // Sets board GPIO `number` to `value`, both decimal texts. 0, or -1 after a log line.
    std::int32_t ZelSetGpio(const std::string& number, const std::string& value);
    // Put picture and sound into fixed states for measuring. Every step is made; the result is the last one's.
    std::int32_t ZelSetPQBypass();
    std::int32_t ZelSetAQEnable(std::int32_t enable);  // 1 enables automatic volume, DRC and PEQ, 0 disables
    // One echo request to `address`, at most about a second. 1 answered, 0 not.
    std::int32_t ZelEthPingTest(const std::string& address);

    // Records. Writers: 1 stored, 0 not. Readers: the text, empty (or 0) when there is none. Any thread.
    std::int32_t ZelSetPcbSn(const std::string& text);
    std::int32_t ZelSetTestResult(const std::string& text);
    std::string ZelGetPcbSn();
    std::string ZelGetTestResult();
    std::int32_t ZelGetRunningTime();

    // Invokes the factory-ready action and waits up to 20 s for its confirmation. 0 invoked, -1 not.
    std::int32_t ZelU5FactoryReady();
    // Ends the factory state of the set. 1 when the TV service confirmed it, else 0. `mode` is not looked at.
    std::int32_t ZelFactoryFinish(std::int32_t mode);

    // ---- Provisioning (provisioning/) ---------------------------------------------------------------------

    // Takes one chunk of a key or configuration file. 0 when its length was out of range, else 1.
    std::int32_t ZelUartCmdProcessRxCmd(UartFrame frame);
    // Keeps the frame and starts the key worker unless one is being started or runs. The thread library's status.
    std::int32_t StartKeyUpgrade(UartFrame frame);
    // The CRC-32 of the last file of that kind that was received, 0 until one was. Any thread.
    std::uint32_t ReceivedFileCrc(zel::KeyFile file) const;

    // Hand a CI+ key file to the set, and have the set check it; `type` 1 plain, otherwise ECP. 0 when the
    // action was accepted, -1 otherwise.
    std::int32_t ZelWriteCIKey(std::int32_t type, const std::string& path);
    std::int32_t ZelCheckCIKey(std::int32_t type);

    // Takes the next address of the range file at `path`, stores it and writes the file back. 0, or -1.
    std::int32_t ZelUpdateMac(const std::string& path);
    // Stores a random address when the set has none. 0, or the failing call's result.
    std::int32_t ZelCheckIfSetSetRandomMAC();

    // The configuration file. A null path fails with -1.
    std::int32_t ZelReadSpeacialLine(const char* path);
    std::int32_t ZelWriteConfigFile(const char* path);  // 0, or the OR of what failed
    std::int32_t ZelCheckConfig();                      // 0 all as written, -1 not
    std::int32_t ZelPrintfConfig();                     // 0, or the OR of what failed

    // The USB customer-file update. Main thread.
    std::int32_t ZelSecondUpdate();
    void ZelSecondUpdateImport();
    void ZelSecondUpdateExport();
    // Looks in `subfolder` of every stick (empty: its root) for an entry whose name contains `needle`. 0 found
    // (then `folder` and `name` say where; the last stick decides), 1 searched in vain, -1 nothing to search.
    std::int32_t ZelGetUSBUpdateFileFullPath(const std::string& subfolder, const std::string& needle,
                                             std::string& folder, std::string& name);
    // Sticks whose root holds an entry with "USB.ZEL" in its name.
    std::int32_t ZelGetUsbMarkerCount();
    // Copies `folder`/`name` into `destination` (ending in "/"). 0 when the copy's CRC-32 is the source's, else
    // -1.
    std::int32_t ZelCopyFileFormUSB(const std::string& folder, const std::string& name,
                                    const std::string& destination);

    // ---- Radio searches (connectivity/) -------------------------------------------------------------------

    void ZelWifiScan();                // starts the scan thread
    void RunWifiScanRound();           // one search-and-measure step
    void ZelBTSearchAP();              // one Bluetooth search, up to about 10 s; scan thread or command thread
    std::int32_t ZelSearchBtDevice();  // reads the list of device names. 0, or -1

    const std::shared_ptr<zel::RadioScan> m_radioScan = zel::MakeRadioScan();

  private:
    // A thread of the link, from its start until it has been joined.
    struct LinkThread {
        pthread_t id{};
        bool started = false;
    };

    bool HasRoomForFrames();                   // for those of another burst
    std::vector<std::uint8_t> TakeRawBlock();  // the oldest burst, empty when none waits
    void ParseRawBlock(const std::vector<std::uint8_t>& block);
    bool TakeFrame(UartFrame& frame);
    static int StartLinkThread(LinkThread& thread, void* (*entry)(void*), UartManager* manager, int line);
    // Join a thread that was started and not joined yet: quietly, with the thread library's status; or with a word
    // on how that went.
    static int JoinLinkThread(LinkThread& thread);
    static void JoinReported(LinkThread& thread, int line, const char* call, const char* failed,
                             const char* succeeded);

    // Around what Start and Stop do: ids are written before anyone reads them.
    std::mutex m_linkMutex;
    LinkThread m_threadUartDebugMode;     // reader
    LinkThread m_ZelUartCommandThreadId;  // command thread
    pthread_t m_threadWifiScan{};         // scan thread

    std::mutex m_rawMutex;
    std::deque<std::vector<std::uint8_t>> m_rawQueue;  // bursts, oldest first
    std::size_t m_rawWeight = 0;                       // what waits in it
    bool m_rawFlood = false;                           // bursts were dropped since it was empty last
    zel::RxParser m_parser;                            // command thread's
    bool m_frameFlood = false;                         // command thread's: the last burst had frames too many
    std::mutex m_frameMutex;
    std::deque<UartFrame> m_frameQueue;  // frames not decoded yet, oldest first

    pthread_mutex_t m_sendMutex{};  // PTHREAD_MUTEX_NORMAL, held around every write to the port

    const std::shared_ptr<zel::KeyTransfer> m_keyTransfer = zel::MakeKeyTransfer(*this);

    std::atomic<zel::RunMode> m_runMode{zel::RunMode::None};
    std::atomic<std::uint8_t> m_u8StatusChanged{0};
};

#endif
