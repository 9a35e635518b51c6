#pragma once

// The C runtime's wide streams: the process's console streams and the removal log's file.
//
// A stream takes whole UTF-16 texts. What reaches a redirected stream is UTF-8, so that no path
// loses a character.

namespace vorn::platform {

struct WideStream;

/// The process's standard output stream (stdout); owned by the process.
WideStream* StandardOutput();

/// The process's standard error stream (stderr); owned by the process.
WideStream* StandardError();

/// Writes the terminated `text` to `stream` in one call (fputws). Returns a negative value on
/// failure.
int fputws(const char16_t* text, WideStream* stream);

/// Writes out what `stream` still buffers (fflush). The runtime buffers a stream that leads to a
/// file or a pipe, also standard error, and writes a buffer only when it is full. 0 on success.
int fflush(WideStream* stream);

// NOLINTNEXTLINE(bugprone-reserved-identifier): the C runtime's name
inline constexpr int _SH_DENYNO = 0x40;

/// Opens `path` with the C runtime's `mode` and sharing (_wfsopen). With the mode "a, ccs=UTF-8" a
/// new file starts with a UTF-8 byte-order mark, text is appended as UTF-8 and line feeds become
/// CR LF. Returns null on failure; the caller closes the stream with fclose.
WideStream* _wfsopen(const char16_t* path, const char16_t* mode, int shareFlag);

/// Flushes and closes a stream of _wfsopen (fclose). 0 on success.
int fclose(WideStream* stream);

}  // namespace vorn::platform
