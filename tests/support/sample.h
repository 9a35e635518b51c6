#pragma once

// Names on the machines that tests start from.

namespace vorn::tests {

inline constexpr char16_t kSampleInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
inline constexpr char16_t kSampleJournal[] = u"C:\\pkg\\.vorn-driver-activation-state";
inline constexpr char16_t kRootId[] = u"ROOT\\MEDIA\\0000";

}  // namespace vorn::tests
