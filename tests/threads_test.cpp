// Many threads at once: every operation, run on eight threads with images of
// their own (buffered and tiled), gives exactly what it gives alone (samples,
// status and reports), and a thread's error reports never reach another.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/dibs.hpp"
#include "support/golden.hpp"
#include "support/samples.hpp"

using namespace vsktest;
using golden::Fnv1a;

namespace {

constexpr int kWidth = 23, kHeight = 17, kThreads = 8, kRounds = 2;

const golden::Shape kGray8{VSK_8U, 1, 0}, kGray16{VSK_16U, 1, 0}, kBits{VSK_1U, 1, 0},
    kRgb8{VSK_8U, 3, 0}, kRgb16{VSK_16U, 3, 0}, kRgb32{VSK_32S, 3, 0}, kRgba8{VSK_8U, 4, 0},
    kRgba16{VSK_16U, 4, 0};

// One image of a job: seeded samples, buffered or served by 8 x 8 tiles.
struct ImagePlan {
    golden::Shape shape;
    bool tiled = false;
    const char* names = nullptr;  // colour model and channel sequence, if not the default
};

// Everything a call leaves: a hash of what it computed and of its images'
// samples and names, the thread's status and the reports its calls made.
struct Outcome {
    std::uint64_t hash = 0;
    int status = 0;
    std::vector<std::string> reports;
    bool operator==(const Outcome&) const = default;
};

// A call on the job's images; it hashes what it computes besides them.
using Op = void (*)(VskImage* const* images, Fnv1a& h);

struct Job {
    const char* name;
    std::vector<ImagePlan> images;
    Op op;
    int status = VSK_STATUS_OK;  // and one report when negative
};

void alphaLast(VskImage* const* images, int count) {
    for (int k = 0; k < count; ++k) images[k]->alphaChannel = images[k]->nChannels;
}

// A bitmap of the given bit count with a seeded table and rows.
Dib seededDib(int bitCount, std::uint32_t seed) {
    BITMAPINFOHEADER header{};
    header.biSize = 40;
    header.biWidth = kWidth;
    header.biHeight = kHeight;
    header.biPlanes = 1;
    header.biBitCount = static_cast<std::uint16_t>(bitCount);
    return randomDib(header, bitCount <= 8 ? 1u << bitCount : 0, seed);
}

// A job's call on its images i[0], i[1], ... that adds nothing to the hash.
#define CALL(...) [](VskImage* const* i, Fnv1a&) { __VA_ARGS__; }

// clang-format off
const Job kJobs[] = {
    {"tvskCopy", {{kRgb8, true}, {kRgb8}}, CALL(setRoi(i[1], 0, 3, 2, 12, 15); tvskCopy(i[0], i[1], nullptr))},
    {"vskExchange", {{kRgb16}, {kRgb16, true}}, CALL(vskExchange(i[0], i[1], nullptr))},
    {"tvskSet", {{kRgb16, true}}, CALL(tvskSet(i[0], 999, nullptr))},
    {"tvskAddS", {{kGray16}, {kGray16, true}}, CALL(tvskAddS(i[0], i[1], 3000, nullptr))},
    {"tvskSubtractS", {{kRgb32}, {kRgb32}}, CALL(tvskSubtractS(i[0], i[1], 77, 1, nullptr))},
    {"tvskAndS", {{kBits, true}, {kBits}}, CALL(tvskAndS(i[0], i[1], 1, nullptr))},
    {"tvskAnd", {{kRgb8}, {kRgb8, true}, {kRgb8}}, CALL(tvskAnd(i[0], i[1], i[2], nullptr))},
    {"tvskAlphaComposite", {{kRgba8, true}, {kRgba8}, {kRgba8}},
     CALL(alphaLast(i, 3); tvskAlphaComposite(i[0], i[1], i[2], 0, nullptr, nullptr, nullptr, 0, 1, nullptr))},
    {"tvskAlphaCompositeC", {{kRgba16}, {kRgba16}, {kRgba16, true}},
     CALL(tvskAlphaCompositeC(i[0], i[1], i[2], 3, 20000, 40000, 1, 0, nullptr))},
    {"vskPreMultiplyAlpha", {{kRgba8, true}}, CALL(alphaLast(i, 1); vskPreMultiplyAlpha(i[0], -1, nullptr))},
    {"vskMultiplyScale", {{kRgba16}, {kRgba16, true}, {kRgba16}}, CALL(vskMultiplyScale(i[0], i[1], i[2], nullptr))},
    {"vskMultiplySScale", {{kRgb8}, {kRgb8}}, CALL(vskMultiplySScale(i[0], i[1], 150, nullptr))},
    {"tvskMirror", {{kBits}, {kBits, true}}, CALL(tvskMirror(i[0], i[1], -1, nullptr))},
    {"tvskZoom", {{kRgb8, true}, {kRgb8}}, CALL(tvskZoom(i[0], i[1], 5, 3, 7, 4, VSK_INTER_CUBIC, nullptr))},
    {"tvskDecimate", {{kRgb16}, {kRgb16, true}}, CALL(tvskDecimate(i[0], i[1], 2, 3, 3, 5, VSK_INTER_LINEAR, nullptr))},
    {"tvskBlur", {{kRgb8, true}, {kRgb8}},
     CALL(vskSetBorderMode(i[0], VSK_BORDER_REFLECT, 15, 0); setRoi(i[1], 2, 1, 1, 15, 20);
          tvskBlur(i[0], i[1], 5, 4, 2, 1, nullptr))},
    {"tvskColorToGray", {{kRgb16}, {kGray8, true}}, CALL(tvskColorToGray(i[0], i[1], nullptr))},
    {"tvskGrayToColor", {{kGray16, true}, {kRgb16}}, CALL(tvskGrayToColor(i[0], i[1], 0.3f, 0.59f, 0.11f, nullptr))},
    {"vskReduceBits dithering", {{kRgb16, true}, {kRgb8}}, CALL(vskReduceBits(i[0], i[1], 0, 2, 2, nullptr))},
    // Jitter draws from rand(), which threads share, so its result is only
    // checked against the rule that holds whatever rand() gives: each value
    // within 4 steps (5 up, with the round-up) of the plain reduction, modulo
    // 256. The job's result is then the plain reduction.
    {"vskReduceBits jitter", {{kRgb16}, {kRgb8}, {kRgb8}},
     [](VskImage* const* i, Fnv1a&) {
         vskReduceBits(i[0], i[2], 0, 1, 0, nullptr);
         vskReduceBits(i[0], i[1], 4, 1, 0, nullptr);
         const std::vector<std::int64_t> jittered = samples(i[1]), plain = samples(i[2]);
         EXPECT_NE(jittered, plain);
         for (std::size_t k = 0; k < plain.size(); ++k) {
             const std::int64_t up = (jittered[k] - plain[k] + 256) % 256;
             ASSERT_TRUE(up <= 5 || up >= 256 - 4) << jittered[k] << " from " << plain[k];
         }
         std::memcpy(i[1]->imageData, i[2]->imageData, static_cast<std::size_t>(i[2]->dataSize));
     }},
    {"vskRGB2HSV", {{kRgb8, true}, {kRgb8}}, CALL(vskRGB2HSV(i[0], i[1], nullptr))},
    {"vskHSV2RGB", {{kRgb8, false, "HSV"}, {kRgb8, true}}, CALL(vskHSV2RGB(i[0], i[1], nullptr))},
    {"vskRGB2HLS", {{kRgb16}, {kRgb16}}, CALL(vskRGB2HLS(i[0], i[1], nullptr))},
    {"vskHLS2RGB", {{kRgb16, true, "HLS"}, {kRgb16, true}}, CALL(vskHLS2RGB(i[0], i[1], nullptr))},
    {"vskGetRect", {{kRgb8, true}},
     [](VskImage* const* i, Fnv1a& h) {
         vskSetBorderMode(i[0], VSK_BORDER_WRAP, 15, 0);
         int step = 0;
         void* p = vskGetRect(i[0], -5, -4, kWidth + 9, kHeight + 7, &step);
         if (p) h.bytes(p, static_cast<std::size_t>(step) * (kHeight + 7));
         vskFreeAligned(p);
     }},
    {"tvskTranslateDIB", {},
     [](VskImage* const*, Fnv1a& h) {
         const Dib dib = seededDib(8, 41);
         int clone = -1;
         VskImage* image = tvskTranslateDIB(dib.header(), &clone);
         if (!image) return;
         h.number(clone);
         golden::hashImage(h, image);
         tvskDeallocate(image, clone == 1 ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);
     }},
    {"tvskConvertFromDIB", {{kRgb8}}, CALL(tvskConvertFromDIB(seededDib(4, 42).header(), i[0]))},
    {"tvskConvertToDIB", {{kRgb8}},
     [](VskImage* const* i, Fnv1a& h) {
         Dib dib = makeDib(8, kWidth, kHeight);
         tvskConvertToDIB(i[0], dib.header(), 1, 2);  // a median-cut table
         h.bytes(dib.bytes(), dib.size());
     }},
    {"tvskCopy refused: the depths differ", {{kRgb8}, {kRgb16}}, CALL(tvskCopy(i[0], i[1], nullptr)),
     VSK_STATUS_BAD_ARG},
};
// clang-format on
#undef CALL
constexpr int kJobCount = static_cast<int>(std::size(kJobs));

// Runs a job on fresh images from `seed` with a clear status; the thread's
// reports are cleared first.
Outcome run(ErrorCapture& capture, const Job& job, std::uint32_t seed) {
    std::vector<std::unique_ptr<golden::Picture>> pictures;
    std::vector<VskImage*> images;
    for (const ImagePlan& plan : job.images) {
        pictures.push_back(
            std::make_unique<golden::Picture>(plan.shape, 4, plan.tiled, seed++, kWidth, kHeight));
        images.push_back(pictures.back()->get());
        if (plan.names) golden::setNames(images.back(), plan.names, plan.names);
    }
    Fnv1a h;
    capture.clear();
    job.op(images.data(), h);
    Outcome out;
    out.status = tvskGetErrStatus();
    for (const Report& r : capture.reports())
        out.reports.push_back(std::to_string(r.status) + " " + r.func + " " + r.file + ":" +
                              std::to_string(r.line) + " " + r.context);
    for (const auto& p : pictures) {
        p->hash(h);
        h.bytes(p->get()->colorModel, 4);
        h.bytes(p->get()->channelSeq, 4);
    }
    out.hash = h.value();
    return out;
}

}  // namespace

TEST(Threads, EveryOperationGivesOnEightThreadsWhatItGivesAlone) {
    ErrorCapture capture;  // one handler for the process; each thread keeps its own reports
    std::vector<Outcome> alone;
    for (int k = 0; k < kJobCount; ++k) {
        alone.push_back(run(capture, kJobs[k], 100u * k));
        ASSERT_EQ(alone.back().status, kJobs[k].status)
            << kJobs[k].name << testing::PrintToString(alone.back().reports);
        ASSERT_EQ(alone.back().reports.size(), kJobs[k].status < 0 ? 1u : 0u) << kJobs[k].name;
    }

    std::vector<std::vector<std::string>> differing(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            // Each thread starts at a different job, so different operations overlap.
            for (int n = 0; n < kRounds * kJobCount; ++n) {
                const int k = (n + 5 * t) % kJobCount;
                if (!(run(capture, kJobs[k], 100u * k) == alone[k]))
                    differing[t].push_back(kJobs[k].name);
            }
        });
    for (std::thread& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t)
        EXPECT_TRUE(differing[t].empty())
            << "thread " << t << ": " << testing::PrintToString(differing[t]);
}

TEST(Threads, ErrorReportsStayOnTheirThread) {
    ErrorCapture capture;
    vskSetErrStatus(VSK_STATUS_UNKNOWN);  // the main thread's own status and text
    const char* text = vskErrorText(-9);
    const int* address = vskErrStatusAddress();

    std::latch failed(1);
    std::thread failing([&] {
        EXPECT_EQ(tvskGetErrStatus(), 0);  // a new thread starts at 0
        ImagePtr a = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 4, 4);
        ImagePtr b = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 4, 4);
        tvskCopy(a.get(), b.get(), nullptr);
        EXPECT_EQ(tvskGetErrStatus(), VSK_STATUS_BAD_ARG);
        EXPECT_EQ(capture.reports().size(), 1u);
        EXPECT_STREQ(vskErrorText(3), "Unknown status code 3");
        failed.count_down();
    });
    std::thread clean([&] {
        failed.wait();
        EXPECT_EQ(tvskGetErrStatus(), 0);
        ImagePtr a = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 4, 4);
        ImagePtr b = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 4, 4);
        tvskCopy(a.get(), b.get(), nullptr);
        EXPECT_EQ(tvskGetErrStatus(), 0);
        EXPECT_TRUE(capture.reports().empty());
        EXPECT_NE(vskErrStatusAddress(), address);
    });
    failing.join();
    clean.join();
    EXPECT_EQ(tvskGetErrStatus(), VSK_STATUS_UNKNOWN);
    EXPECT_EQ(vskErrStatusAddress(), address);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_STREQ(text, "Unknown error code -9");
}
