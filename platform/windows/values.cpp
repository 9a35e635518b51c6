// Holds each value of the seam against the value that Windows' own headers give the same name. A
// value that differs stops the build; tools/check-values complains about one that values.inc lacks.

#include "platform/audio_endpoints.h"
#include "platform/config_manager.h"
#include "platform/console.h"
#include "platform/crypto.h"
#include "platform/device_io.h"
#include "platform/device_setup.h"
#include "platform/files.h"
#include "platform/inf.h"
#include "platform/last_error.h"
#include "platform/native.h"
#include "platform/registry.h"
#include "platform/security.h"
#include "platform/services.h"

namespace vorn::platform::windows {

// The seam's values under names that no header of Windows defines.
#define HOLD_NUMBER(name) constexpr auto kOurs_##name = platform::name;
#define HOLD_TEXT(name) constexpr const char16_t* kOurs_##name = platform::name;
#define HOLD_GUID(name) constexpr GUID kOurs_##name = platform::name;
#define HOLD_KEY(name) constexpr DEVPROPKEY kOurs_##name = platform::name;
#define HOLD_POINTER(name)
#include "platform/windows/values.inc"
#undef HOLD_NUMBER
#undef HOLD_TEXT
#undef HOLD_GUID
#undef HOLD_KEY

}  // namespace vorn::platform::windows

// clang-format off
#include <windows.h>
#include <devpropdef.h>
// clang-format on

// Windows declares its property keys as objects elsewhere, which no proof can read. With INITGUID
// the header defines them; these words make the definitions constants.
#pragma push_macro("EXTERN_C")
#pragma push_macro("DECLSPEC_SELECTANY")
#undef EXTERN_C
#undef DECLSPEC_SELECTANY
#define EXTERN_C static constexpr
#define DECLSPEC_SELECTANY
#define INITGUID
#include <devpkey.h>
#undef INITGUID
#pragma pop_macro("DECLSPEC_SELECTANY")
#pragma pop_macro("EXTERN_C")

// clang-format off
#include <aclapi.h>
#include <bcrypt.h>
#include <cfgmgr32.h>
#include <devicetopology.h>
#include <ks.h>
#include <ksmedia.h>
#include <mmdeviceapi.h>
#include <newdev.h>
#include <objbase.h>
#include <propidl.h>
#include <sddl.h>
#include <setupapi.h>
#include <share.h>
#include <winioctl.h>
#include <winternl.h>
#include <winsvc.h>
// clang-format on

#include "platform/windows/holding.h"

// Outside every namespace of ours, so that no name below can mean a value of the seam.

constexpr ::GUID kTheirs_KSCATEGORY_AUDIO = {STATIC_KSCATEGORY_AUDIO};
constexpr ::GUID kTheirs_CLSID_MMDeviceEnumerator = __uuidof(::MMDeviceEnumerator);
constexpr ::GUID kTheirs_IID_IMMDeviceEnumerator = __uuidof(::IMMDeviceEnumerator);
constexpr ::GUID kTheirs_IID_IDeviceTopology = __uuidof(::IDeviceTopology);

namespace ours = vorn::platform::windows;

#define HOLD_NUMBER(name) static_assert(ours::IsSameNumber(ours::kOurs_##name, name), #name);
#define HOLD_TEXT(name) static_assert(ours::IsSameText(ours::kOurs_##name, name), #name);
#define HOLD_GUID(name) static_assert(ours::IsSameGuid(ours::kOurs_##name, kTheirs_##name), #name);
#define HOLD_KEY(name) static_assert(ours::IsSameKey(ours::kOurs_##name, name), #name);
#include "platform/windows/values.inc"
