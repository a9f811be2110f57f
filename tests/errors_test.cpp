// Error status, error modes, the default message box (with the platform's
// formatter) and its termination paths.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

struct Box {
    std::string text, caption;
    unsigned type;
};
std::vector<Box> g_boxes;
int g_answer = 0;
unsigned long g_version = 0;

int VSK_CALL scriptedBox(const char* text, const char* caption, unsigned type) {
    g_boxes.push_back({text, caption, type});
    return g_answer;
}
unsigned long VSK_CALL scriptedVersion() { return g_version; }

// Runs the default handler with a scripted message box for one test.
class DefaultHandler : public testing::Test {
protected:
    void SetUp() override {
        g_boxes.clear();
        g_answer = 7;  // No
        g_version = 0;
        vskSetErrorHandler(nullptr);
        vskSetMessageBoxHook(scriptedBox);
        vskSetVersionHook(scriptedVersion);
        vskSetErrMode(VSK_ErrorModeLeaf);
        vskSetErrStatus(0);
    }
    void TearDown() override {
        vskSetMessageBoxHook(nullptr);
        vskSetVersionHook(nullptr);
        vskSetErrMode(VSK_ErrorModeLeaf);
        vskSetErrStatus(0);
    }
};

// How a terminated application ends: the stand-in exits with status 3, while
// Windows' FatalAppExitA ends it with a status of the system's choosing.
bool terminated(int status) {
#if defined(_WIN32)
    (void)status;
    return true;
#else
    return testing::ExitedWithCode(3)(status);
#endif
}

// What a report without a hook writes to stderr: the stand-in prints the box;
// Windows shows a real one (which, headless, answers no button at all).
#if defined(_WIN32)
const char kUnhookedBoxOutput[] = "";
#else
const char kUnhookedBoxOutput[] =
    "VSK Library Error: Bad argument\nin function \\[vskSCE:54\\]:vskCopy\\(\\):\nsrcImage==0";
#endif

const char kLeaf[] = "\n\nErrMode=VSK_ErrorModeLeaf\n\nTerminate the application?";
const char kParent[] = "\n\nErrMode=VSK_ErrorModeParent\n\nContinue?";

}  // namespace

TEST(ErrorText, KnownAndUnknownCodes) {
    const char* texts[] = {"No Error",      "Backtrace",    "Unknown error",
                           "Internal error (bad state)", "Out of memory", "Bad argument",
                           "Unsupported function", "Iteration convergence failed",
                           "Autotrace call"};
    for (int i = 0; i <= 8; ++i) EXPECT_STREQ(vskErrorText(-i), texts[i]);
    EXPECT_STREQ(vskErrorText(-9), "Unknown error code -9");
    EXPECT_STREQ(vskErrorText(3), "Unknown status code 3");
    // One static buffer: the next unknown code overwrites the text.
    const char* first = vskErrorText(-100);
    vskErrorText(42);
    EXPECT_STREQ(first, "Unknown status code 42");
}

TEST(ErrorStatus, ReportsRecordStatusExceptTraceCodes) {
    ErrorCapture capture;
    vskReportError(-5, "f", "c", "file", 1);
    EXPECT_EQ(tvskGetErrStatus(), -5);
    EXPECT_EQ(*vskErrStatusAddress(), -5);
    // The trace codes reach the handler but keep the recorded status.
    EXPECT_EQ(vskReportError(-1, "f", "c", "file", 2), -1);
    EXPECT_EQ(vskReportError(-8, "f", "c", "file", 3), -8);
    EXPECT_EQ(tvskGetErrStatus(), -5);
    ASSERT_EQ(capture.reports().size(), 3u);
    // Status 0 clears the status and reaches no handler.
    EXPECT_EQ(vskReportError(0, "f", "c", "file", 4), 0);
    EXPECT_EQ(tvskGetErrStatus(), 0);
    EXPECT_EQ(capture.reports().size(), 3u);
    // A positive status is recorded and handled too.
    vskReportError(3, "f", "c", "file", 5);
    EXPECT_EQ(tvskGetErrStatus(), 3);
    vskSetErrStatus(-2);
    EXPECT_EQ(tvskGetErrStatus(), -2);
}

TEST(ErrorStatusDeathTest, ModeHandlerAndQuietHandler) {
    ErrorCapture capture;
    vskSetErrMode(17);  // no range check
    EXPECT_EQ(vskGetErrMode(), 17);
    VskErrorCallback before = vskSetErrorHandler(vskQuietErrorHandler);
    EXPECT_EQ(vskSetErrorHandler(nullptr), vskQuietErrorHandler);  // null re-installs the default
    EXPECT_EQ(vskSetErrorHandler(vskQuietErrorHandler), vskShowErrorBox);
    // The quiet handler returns outside leaf mode (and ends the process in it).
    vskSetErrMode(VSK_ErrorModeParent);
    EXPECT_EQ(vskReportError(-5, "f", "c", "x", 1), -5);
    vskSetErrMode(VSK_ErrorModeSilent);
    EXPECT_EQ(vskReportError(-4, "f", "c", "x", 1), -4);
    EXPECT_EQ(tvskGetErrStatus(), -4);
    vskSetErrorHandler(before);
    EXPECT_EXIT(
        {
            vskSetErrorHandler(vskQuietErrorHandler);
            vskSetErrMode(VSK_ErrorModeLeaf);
            vskReportError(-5, "f", "c", "x", 1);
        },
        testing::ExitedWithCode(1), "");
}

TEST_F(DefaultHandler, MessageCaptionAndButtonsByMode) {
    struct Case {
        int mode, previous, status;
        const char* func;
        const char* context;
        const char* file;
        int line;
        const char* message;  // null: no box
        const char* caption;
        unsigned type;
        int answer;  // a button that lets the application go on
    } cases[] = {
        {0, 0, -5, "vskCopy", "dstImage->roi->width <= 0", "vskSCE", 54,
         "in function [vskSCE:54]:vskCopy():\ndstImage->roi->width <= 0", "Bad argument", 0x1004, 7},
        {1, 0, -2, "vskSet", "Error get tile to write", "vskSCE", 549,
         "in function [vskSCE:549]:vskSet():\nError get tile to write", "Unknown error", 0x1001, 1},
        {1, 0, -4, nullptr, nullptr, nullptr, -7, "in function [:0]:<unknown>():\n",
         "Out of memory", 0x1001, 0},  // no button at all: a headless box
        {0, 0, -9, "f", "x", "g", 3, "in function [g:3]:f():\nx", "Unknown error code -9", 0x1004, 0},
        // The trace codes: "called from", and the caption names the recorded error.
        {1, -5, -1, "vskCopy", "ctx", "vskSCE", 12, "called from [vskSCE:12]:vskCopy():\nctx",
         "Bad argument", 0x1001, 1},
        {1, -6, -8, "vskCopy", "ctx", "vskSCE", 13, "called from [vskSCE:13]:\nvskCopy(ctx)",
         "Unsupported function", 0x1001, 1},
        // Silent and unknown modes show nothing and still record the status.
        {2, 0, -6, "f", "c", "x", 1, nullptr, "", 0, 0},
        {5, 0, -6, "f", "c", "x", 1, nullptr, "", 0, 0},
        {-1, 0, -6, "f", "c", "x", 1, nullptr, "", 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message ? c.message : "no box");
        g_boxes.clear();
        g_answer = c.answer;
        vskSetErrMode(c.mode);
        vskSetErrStatus(c.previous);
        EXPECT_EQ(vskReportError(c.status, c.func, c.context, c.file, c.line), c.status);
        EXPECT_EQ(tvskGetErrStatus(), c.status < -1 && c.status != -8 ? c.status : c.previous);
        if (!c.message) {
            EXPECT_TRUE(g_boxes.empty());
            continue;
        }
        ASSERT_EQ(g_boxes.size(), 1u);
        EXPECT_EQ(g_boxes[0].text, std::string(c.message) + (c.mode == 0 ? kLeaf : kParent));
        EXPECT_EQ(g_boxes[0].caption, std::string("VSK Library Error: ") + c.caption);
        EXPECT_EQ(g_boxes[0].type, c.type);
    }
}

TEST_F(DefaultHandler, LongMessagesAreCutOnlyByTheWindowsFormatter) {
    vskSetErrMode(VSK_ErrorModeParent);
    // Lengths around the 1023 characters that wsprintfA writes at most.
    for (std::size_t length : {0u, 960u, 1000u, 5000u}) {
        const std::string context(length, 'c');
        g_boxes.clear();
        vskReportError(-5, "vskCopy", context.c_str(), "vskSCE", 54);
        std::string expected = "in function [vskSCE:54]:vskCopy():\n" + context + kParent;
#if defined(_WIN32)
        if (expected.size() > 1023) expected.resize(1023);
#endif
        ASSERT_EQ(g_boxes.size(), 1u);
        EXPECT_EQ(g_boxes[0].text, expected) << length;
    }
}

TEST(DefaultHandlerDeathTest, YesInLeafModeAndCancelInParentModeTerminate) {
    for (int mode : {VSK_ErrorModeLeaf, VSK_ErrorModeParent})
        EXPECT_EXIT(
            {
                vskSetErrorHandler(nullptr);
                vskSetMessageBoxHook([](const char*, const char*, unsigned type) -> int {
                    return (type & 0xF) == 4 ? 6 : 2;  // Yes to Yes/No, Cancel to OK/Cancel
                });
                vskSetErrMode(mode);
                vskReportError(-5, "f", "c", "x", 1);
            },
            terminated, "VSK Library:\nterminating the application");
}

TEST(DefaultHandlerDeathTest, NonNtPlatformShowsExitBoxThenExits) {
    EXPECT_EXIT(
        {
            vskSetErrorHandler(nullptr);
            vskSetMessageBoxHook([](const char* text, const char* caption, unsigned type) -> int {
                if (std::string(caption) == "Win32S: Application exit") {
                    fprintf(stderr, "exit box [%s] type %x\n", text, type);
                    return 1;
                }
                return 6;
            });
            vskSetVersionHook([]() -> unsigned long { return 0x80000000UL; });
            vskSetErrMode(VSK_ErrorModeLeaf);
            vskReportError(-5, "f", "c", "x", 1);
        },
        testing::ExitedWithCode(1),
        "exit box \\[VSK Library:\nterminating the application\\] type 1000");
}

TEST(DefaultHandlerDeathTest, PlatformStandInContinues) {
    // Without a hook the platform's box lets the application go on: the
    // stand-in answers No / OK, a headless Windows box no button at all.
    EXPECT_EXIT(
        {
            vskSetErrorHandler(nullptr);
            vskSetMessageBoxHook(nullptr);
            vskSetErrMode(VSK_ErrorModeLeaf);
            vskReportError(-5, "vskCopy", "srcImage==0", "vskSCE", 54);
            vskSetErrMode(VSK_ErrorModeParent);
            vskReportError(-5, "vskCopy", "srcImage==0", "vskSCE", 54);
            exit(0);
        },
        testing::ExitedWithCode(0), kUnhookedBoxOutput);
}
