// The one place where the library meets the operating system's user
// interface and process services. On Windows these are the real calls; on
// other systems they are stand-ins that write to stderr.
#pragma once

#include <cstddef>

namespace vsk::platform {

// MessageBoxA flags and answers used by the error reporting.
constexpr unsigned kOk = 0x0;
constexpr unsigned kOkCancel = 0x1;
constexpr unsigned kYesNo = 0x4;
constexpr unsigned kSystemModal = 0x1000;
constexpr int kIdOk = 1;
constexpr int kIdCancel = 2;
constexpr int kIdYes = 6;
constexpr int kIdNo = 7;

// Shows a message box with no owner window; returns the button pressed.
// The stand-in writes caption and text to stderr and answers so that the
// application continues (OK for OK boxes and OK/Cancel, No for Yes/No).
int messageBox(const char* text, const char* caption, unsigned type);

// The platform's version word; the top bit set means a non-NT platform.
// The stand-in answers an NT-style word (top bit clear).
unsigned long getVersion();

// Ends the application after showing the text; does not return. The text
// goes to stderr first; the stand-in then ends the process with status 3.
[[noreturn]] void fatalAppExit(const char* text);

// wsprintfA-style formatting of at most five arguments into a buffer of
// `capacity` bytes (never written past).
int format(char* buffer, std::size_t capacity, const char* fmt, const char* a1, int a2,
           const char* a3, const char* a4, const char* a5);

}  // namespace vsk::platform
