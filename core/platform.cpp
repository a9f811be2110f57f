#include "platform.hpp"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vsk_internal.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {
// Process-wide, set and read atomically.
std::atomic<VskMessageBoxHook> g_messageBoxHook{nullptr};
std::atomic<VskVersionHook> g_versionHook{nullptr};
}  // namespace

extern "C" VskMessageBoxHook VSK_CALL vskSetMessageBoxHook(VskMessageBoxHook hook) {
    return g_messageBoxHook.exchange(hook);
}

extern "C" VskVersionHook VSK_CALL vskSetVersionHook(VskVersionHook hook) {
    return g_versionHook.exchange(hook);
}

namespace vsk::platform {

int messageBox(const char* text, const char* caption, unsigned type) {
    if (const VskMessageBoxHook hook = g_messageBoxHook.load()) return hook(text, caption, type);
#if defined(_WIN32)
    return MessageBoxA(nullptr, text, caption, type);
#else
    std::fprintf(stderr, "%s\n%s\n", caption, text);
    std::fflush(stderr);
    return (type & 0xF) == kYesNo ? kIdNo : kIdOk;
#endif
}

unsigned long getVersion() {
    if (const VskVersionHook hook = g_versionHook.load()) return hook();
#if defined(_WIN32)
    return GetVersion();
#else
    return 0x0A;  // an NT-style version word: top bit clear
#endif
}

void fatalAppExit(const char* text) {
    // The text also goes to stderr first, for console programs and headless
    // runs where no box can be seen.
    std::fprintf(stderr, "%s\n", text);
    std::fflush(stderr);
#if defined(_WIN32)
    FatalAppExitA(0, text);
#endif
    std::_Exit(3);
}

int format(char* buffer, std::size_t capacity, const char* fmt, const char* a1, int a2,
           const char* a3, const char* a4, const char* a5) {
    if (!buffer || capacity == 0) return 0;
#if defined(_WIN32)
    // wsprintfA writes at most 1024 bytes (1023 characters and the NUL), so
    // it formats into a buffer of its own and the text is cut to the caller's
    // capacity.
    char text[1025];
    text[1024] = '\0';
    wsprintfA(text, fmt, a1, a2, a3, a4, a5);
    const std::size_t length = std::min(std::strlen(text), capacity - 1);
    std::memcpy(buffer, text, length);
    buffer[length] = '\0';
    return static_cast<int>(length);
#else
    const int n = std::snprintf(buffer, capacity, fmt, a1, a2, a3, a4, a5);
    return n < 0 ? 0 : n;
#endif
}

}  // namespace vsk::platform
