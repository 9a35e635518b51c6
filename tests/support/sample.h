#pragma once

// The sample package, the files that the program keeps beside it, and the root device: the names
// that the machines of the tests share.

namespace vorn::tests {

inline constexpr char16_t kSampleFolder[] = u"C:\\pkg\\driver";
inline constexpr char16_t kSampleInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
inline constexpr char16_t kSampleVersion[] = u"26.8.10.5";
inline constexpr char16_t kSampleDate[] = u"08/10/2026";
inline constexpr char16_t kSampleHardwareId[] = u"Root\\VornAudio";

inline constexpr char16_t kSampleJournal[] = u"C:\\pkg\\.vorn-driver-activation-state";
inline constexpr char16_t kSampleLogFolder[] = u"C:\\pkg\\logs";
inline constexpr char16_t kSampleLog[] = u"C:\\pkg\\logs\\vorn_devnode.log";

inline constexpr char16_t kRootId[] = u"ROOT\\MEDIA\\0000";

}  // namespace vorn::tests
