// The names by which the set knows a USB stick and what is on it.
#ifndef ZELFAC_PROVISIONING_USB_STICKNAMES_H
#define ZELFAC_PROVISIONING_USB_STICKNAMES_H

namespace zel::stick {

constexpr char kDevice[] = "/dev/shm/shm_tmp/vu_";  // what the devices of all sticks begin with
constexpr char kMarker[] = "USB.ZEL";               // entry of the root: a stick of the factory's
constexpr char kOemEntry[] = "OEM_data";            // entry of the root: work for the supervisor
constexpr char kCustomerFolder[] = "RW9602CustomerFile";
constexpr char kCustomerMarker[] = "ZelFacTest_Eu4K";  // entry of the customer folder
constexpr char kExportFolder[] = "CopyRW9602CustomerFile";
constexpr char kConfigFolder[] = "CONFIG";  // of the customer folder and of the export
constexpr char kConfigName[] = "CONFIG.bin";

}  // namespace zel::stick

#endif
