// The platform layer: what reaches the message box when the message is long.
#include <gtest/gtest.h>

#include <string>

#include "support/vsktest.hpp"

namespace {

std::string g_text;

int VSK_CALL recordBox(const char* text, const char*, unsigned) {
    g_text = text;
    return 1;  // OK: continue
}

}  // namespace

TEST(PlatformFormat, LongMessagesAreCutOnlyByTheWindowsFormatter) {
    vskSetErrorHandler(nullptr);
    vskSetMessageBoxHook(recordBox);
    vskSetErrMode(VSK_ErrorModeParent);
    const std::string prefix = "in function [vskSCE:54]:vskCopy():\n";
    const std::string suffix = "\n\nErrMode=VSK_ErrorModeParent\n\nContinue?";
    // Lengths around the 1023 characters that wsprintfA writes at most.
    for (std::size_t length : {0u, 900u, 960u, 1000u, 5000u}) {
        SCOPED_TRACE(length);
        const std::string context(length, 'c');
        vskReportError(-5, "vskCopy", context.c_str(), "vskSCE", 54);
        std::string expected = prefix + context + suffix;
#if defined(_WIN32)
        if (expected.size() > 1023) expected.resize(1023);
#endif
        EXPECT_EQ(g_text, expected);
    }
    vskSetMessageBoxHook(nullptr);
    vskSetErrMode(VSK_ErrorModeLeaf);
    vskSetErrStatus(0);
}
