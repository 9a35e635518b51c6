// Holds each value that only the model and its tests name against Windows' own, as
// platform/windows/values.cpp does for the seam: the suite asks Windows for them.

#include "platform/simulated/audio_values.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/registry_values.h"
#include "platform/simulated/security_values.h"

namespace vorn::contract {

#define HOLD_NUMBER(name) constexpr auto kOurs_##name = platform::name;
#define HOLD_NEWER_NUMBER(name) HOLD_NUMBER(name)
#include "tests/contract/windows/model_values.inc"
#undef HOLD_NUMBER
#undef HOLD_NEWER_NUMBER

}  // namespace vorn::contract

// clang-format off
#define WIN32_NO_STATUS
#include <windows.h>
#undef WIN32_NO_STATUS
#include <ntstatus.h>
#include <audioclient.h>
#include <cfgmgr32.h>
#include <mmdeviceapi.h>
#include <propidl.h>
#include <setupapi.h>
#include <share.h>
#include <winternl.h>
// clang-format on

#include "platform/windows/holding.h"

#define HOLD_NUMBER(name) \
  static_assert(vorn::platform::windows::IsSameNumber(vorn::contract::kOurs_##name, name), #name);
// The headers of mingw-w64 12 lack these; the ones of the Windows SDK have them.
#define HOLD_NEWER_NUMBER(name)
#include "tests/contract/windows/model_values.inc"

#ifdef ERROR_NO_SUCH_DEVICE
HOLD_NUMBER(ERROR_NO_SUCH_DEVICE)
#endif
#ifdef ERROR_REPARSE_POINT_ENCOUNTERED
HOLD_NUMBER(ERROR_REPARSE_POINT_ENCOUNTERED)
#endif
#ifdef ERROR_FILE_HASH_NOT_IN_CATALOG
HOLD_NUMBER(ERROR_FILE_HASH_NOT_IN_CATALOG)
#endif
#ifdef STATUS_REPARSE_POINT_ENCOUNTERED
HOLD_NUMBER(STATUS_REPARSE_POINT_ENCOUNTERED)
#endif
