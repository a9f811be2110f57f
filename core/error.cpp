// The error status (one per thread), the error mode and handler (one per
// process, set atomically), and the default message box.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform.hpp"
#include "vsk_internal.h"

namespace {

// Each thread reads the status its own calls left; a new thread starts at 0.
thread_local int t_status = VSK_STATUS_OK;
std::atomic<int> g_mode{VSK_ErrorModeLeaf};
std::atomic<VskErrorCallback> g_handler{vskShowErrorBox};
// The text of an unknown code, kept until the thread's next such call.
thread_local char t_unknownText[64];

const char* const kStatusTexts[] = {
    "No Error",                      //  0
    "Backtrace",                     // -1
    "Unknown error",                 // -2
    "Internal error (bad state)",    // -3
    "Out of memory",                 // -4
    "Bad argument",                  // -5
    "Unsupported function",          // -6
    "Iteration convergence failed",  // -7
    "Autotrace call",                // -8
};

const char kTerminateText[] = "VSK Library:\nterminating the application";

std::size_t lengthOf(const char* s) { return s ? std::strlen(s) : 0; }

}  // namespace

extern "C" {

VSK_API int VSK_CALL tvskGetErrStatus(void) { return t_status; }

int VSK_CALL vskReportError(int status, const char* funcName, const char* context,
                            const char* file, int line) {
    // The two trace codes pass through without disturbing the recorded status.
    if (status != VSK_STATUS_BACKTRACE && status != VSK_STATUS_AUTOTRACE) t_status = status;
    if (status == VSK_STATUS_OK) return 0;
    return g_handler.load()(status, funcName, context, file, line);
}

void VSK_CALL vskSetErrStatus(int status) { t_status = status; }
int* VSK_CALL vskErrStatusAddress(void) { return &t_status; }
int VSK_CALL vskGetErrMode(void) { return g_mode.load(); }
void VSK_CALL vskSetErrMode(int mode) { g_mode.store(mode); }

VskErrorCallback VSK_CALL vskSetErrorHandler(VskErrorCallback handler) {
    return g_handler.exchange(handler ? handler : vskShowErrorBox);
}

const char* VSK_CALL vskErrorText(int status) {
    if (status <= 0 && status >= VSK_STATUS_AUTOTRACE) return kStatusTexts[-status];
    std::snprintf(t_unknownText, sizeof t_unknownText, "Unknown %s code %d",
                  status < 0 ? "error" : "status", status);
    return t_unknownText;
}

int VSK_CALL vskShowErrorBox(int status, const char* funcName, const char* context,
                             const char* file, int line) {
    const int mode = g_mode.load();  // one mode for the whole report
    if (mode == VSK_ErrorModeSilent) return status;

    if (!funcName) funcName = "<unknown>";
    if (!context) context = "";
    if (!file) file = "";
    if (line < 0) line = 0;

    const char* suffix = "";
    if (mode == VSK_ErrorModeLeaf)
        suffix = "\n\nErrMode=VSK_ErrorModeLeaf\n\nTerminate the application?";
    else if (mode == VSK_ErrorModeParent)
        suffix = "\n\nErrMode=VSK_ErrorModeParent\n\nContinue?";

    const char* fmt = "in function [%s:%d]:%s():\n%s%s";
    if (status == VSK_STATUS_BACKTRACE)
        fmt = "called from [%s:%d]:%s():\n%s%s";
    else if (status == VSK_STATUS_AUTOTRACE)
        fmt = "called from [%s:%d]:\n%s(%s)%s";

    // Room for the context plus 200 bytes, widened so that long file or
    // function names can never run past the buffer (and at least the 1025
    // bytes the platform formatter may write).
    std::size_t size = lengthOf(context) + lengthOf(file) + lengthOf(funcName) + 200;
    if (size < 1025) size = 1025;
    char* message = static_cast<char*>(std::malloc(size));
    if (!message) return status;  // no memory for the message: skip the box
    vsk::platform::format(message, size, fmt, file, line, funcName, context, suffix);

    char caption[100];
    std::snprintf(caption, sizeof caption, "VSK Library Error: %s", vskErrorText(t_status));

    bool terminate = false;
    if (mode == VSK_ErrorModeParent) {
        terminate = vsk::platform::messageBox(message, caption,
                                              vsk::platform::kOkCancel |
                                                  vsk::platform::kSystemModal) ==
                    vsk::platform::kIdCancel;
    } else if (mode == VSK_ErrorModeLeaf) {
        terminate = vsk::platform::messageBox(
                        message, caption,
                        vsk::platform::kYesNo | vsk::platform::kSystemModal) ==
                    vsk::platform::kIdYes;
    }
    if (!terminate) {
        std::free(message);
        return status;
    }

    if ((vsk::platform::getVersion() & 0x80000000UL) == 0) {
        std::free(message);
        vsk::platform::fatalAppExit(kTerminateText);
    }
    vsk::platform::messageBox(kTerminateText, "Win32S: Application exit",
                              vsk::platform::kOk | vsk::platform::kSystemModal);
    std::free(message);
    std::exit(1);
}

int VSK_CALL vskQuietErrorHandler(int status, const char*, const char*, const char*, int) {
    if (g_mode.load() == VSK_ErrorModeLeaf) std::exit(1);
    return status;
}

}  // extern "C"
