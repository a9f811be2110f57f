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

#include "bmpfile.hpp"
#include "support/samples.hpp"

using namespace vsktest;

namespace {

constexpr int kWidth = 23, kHeight = 17, kTile = 8, kThreads = 8, kRounds = 2;

using Values = std::vector<std::int64_t>;

struct Shape {
    int channels;
    unsigned depth;
    const char* model = nullptr;  // makeImage's names when null
    const char* seq = nullptr;
};
const Shape kGray8{1, VSK_8U}, kGray16{1, VSK_16U}, kBits{1, VSK_1U}, kRgb8{3, VSK_8U},
    kRgb16{3, VSK_16U}, kRgb32{3, VSK_32S}, kRgba8{4, VSK_8U}, kRgba16{4, VSK_16U},
    kHsv8{3, VSK_8U, "HSV", "HSV"}, kHls16{3, VSK_16U, "HLS", "HLS"};

struct Spec {
    Shape shape;
    bool tiled = false;  // served by 8 x 8 tiles
};

// One image of a job: seeded samples, buffered or tiled.
class Picture {
public:
    Picture(const Spec& spec, std::uint32_t seed) {
        const Shape& s = spec.shape;
        plain_ = makeImage(s.channels, s.depth, VSK_DATA_ORDER_PIXEL, kHeight, kWidth, 0, 4,
                           s.model, s.seq);
        fillRandom(plain_.get(), seed);
        if (!spec.tiled) return;
        tiled_ = std::make_unique<TiledImage>(s.channels, s.depth, VSK_DATA_ORDER_PIXEL, kHeight,
                                              kWidth, kTile, kTile);
        std::memcpy(tiled_->get()->colorModel, plain_->colorModel, 4);
        std::memcpy(tiled_->get()->channelSeq, plain_->channelSeq, 4);
        tiled_->loadFrom(plain_.get());
    }
    VskImage* get() const { return tiled_ ? tiled_->get() : plain_.get(); }
    // The samples (through the tiles for a tiled image) and the names.
    void appendTo(Values& out) const {
        if (tiled_) tiled_->storeTo(plain_.get());
        const Values s = samples(plain_.get());
        out.insert(out.end(), s.begin(), s.end());
        out.insert(out.end(), get()->colorModel, get()->colorModel + 8);
    }

private:
    ImagePtr plain_;
    std::unique_ptr<TiledImage> tiled_;
};

// Everything a call leaves: its images' samples (plus what the job adds),
// the thread's status and the reports its calls made.
struct Outcome {
    Values values;
    int status = 0;
    std::vector<std::string> reports;
    bool operator==(const Outcome&) const = default;
};

// A call on the job's images; it may add values of its own (bitmaps, buffers).
using Op = void (*)(VskImage* const* images, Values& values);

struct Job {
    const char* name;
    std::vector<Spec> images;
    Op op;
    int status = VSK_STATUS_OK;  // and one report when negative
};

void alphaLast(VskImage* const* images, int count) {
    for (int k = 0; k < count; ++k) images[k]->alphaChannel = images[k]->nChannels;
}

// A bitmap of the given layout with seeded table and rows.
vsk::bmp::Dib seededDib(int bitCount, std::uint32_t seed) {
    vsk::bmp::Dib dib =
        vsk::bmp::Dib::make(kWidth, kHeight, bitCount, BI_RGB, bitCount <= 8 ? 1u << bitCount : 0);
    ImagePtr noise =
        makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, static_cast<int>(dib.size() - 40));
    fillRandom(noise.get(), seed);
    std::memcpy(dib.bytes() + 40, noise->imageData, dib.size() - 40);
    return dib;
}

void appendBytes(Values& out, const std::uint8_t* p, std::size_t n) {
    out.insert(out.end(), p, p + n);
}

const Job kJobs[] = {
    {"tvskCopy",
     {{kRgb8, true}, {kRgb8}},
     [](VskImage* const* i, Values&) {
         setRoi(i[1], 0, 3, 2, 12, 15);
         tvskCopy(i[0], i[1], nullptr);
     }},
    {"vskExchange",
     {{kRgb16}, {kRgb16, true}},
     [](VskImage* const* i, Values&) { vskExchange(i[0], i[1], nullptr); }},
    {"tvskSet", {{kRgb16, true}}, [](VskImage* const* i, Values&) { tvskSet(i[0], 999, nullptr); }},
    {"tvskAddS",
     {{kGray16}, {kGray16, true}},
     [](VskImage* const* i, Values&) { tvskAddS(i[0], i[1], 3000, nullptr); }},
    {"tvskSubtractS",
     {{kRgb32}, {kRgb32}},
     [](VskImage* const* i, Values&) { tvskSubtractS(i[0], i[1], 77, 1, nullptr); }},
    {"tvskAndS",
     {{kBits, true}, {kBits}},
     [](VskImage* const* i, Values&) { tvskAndS(i[0], i[1], 1, nullptr); }},
    {"tvskAnd",
     {{kRgb8}, {kRgb8, true}, {kRgb8}},
     [](VskImage* const* i, Values&) { tvskAnd(i[0], i[1], i[2], nullptr); }},
    {"tvskAlphaComposite",
     {{kRgba8, true}, {kRgba8}, {kRgba8}},
     [](VskImage* const* i, Values&) {
         alphaLast(i, 3);
         tvskAlphaComposite(i[0], i[1], i[2], 0, nullptr, nullptr, nullptr, 0, 1, nullptr);
     }},
    {"tvskAlphaCompositeC",
     {{kRgba16}, {kRgba16}, {kRgba16, true}},
     [](VskImage* const* i, Values&) {
         tvskAlphaCompositeC(i[0], i[1], i[2], 3, 20000, 40000, 1, 0, nullptr);
     }},
    {"vskPreMultiplyAlpha",
     {{kRgba8, true}},
     [](VskImage* const* i, Values&) {
         alphaLast(i, 1);
         vskPreMultiplyAlpha(i[0], -1, nullptr);
     }},
    {"vskMultiplyScale",
     {{kRgba16}, {kRgba16, true}, {kRgba16}},
     [](VskImage* const* i, Values&) { vskMultiplyScale(i[0], i[1], i[2], nullptr); }},
    {"vskMultiplySScale",
     {{kRgb8}, {kRgb8}},
     [](VskImage* const* i, Values&) { vskMultiplySScale(i[0], i[1], 150, nullptr); }},
    {"tvskMirror",
     {{kBits}, {kBits, true}},
     [](VskImage* const* i, Values&) { tvskMirror(i[0], i[1], -1, nullptr); }},
    {"tvskZoom",
     {{kRgb8, true}, {kRgb8}},
     [](VskImage* const* i, Values&) {
         tvskZoom(i[0], i[1], 5, 3, 7, 4, VSK_INTER_CUBIC, nullptr);
     }},
    {"tvskDecimate",
     {{kRgb16}, {kRgb16, true}},
     [](VskImage* const* i, Values&) {
         tvskDecimate(i[0], i[1], 2, 3, 3, 5, VSK_INTER_LINEAR, nullptr);
     }},
    {"tvskBlur",
     {{kRgb8, true}, {kRgb8}},
     [](VskImage* const* i, Values&) {
         vskSetBorderMode(i[0], VSK_BORDER_REFLECT, 15, 0);
         setRoi(i[1], 2, 1, 1, 15, 20);
         tvskBlur(i[0], i[1], 5, 4, 2, 1, nullptr);
     }},
    {"tvskColorToGray",
     {{kRgb16}, {kGray8, true}},
     [](VskImage* const* i, Values&) { tvskColorToGray(i[0], i[1], nullptr); }},
    {"tvskGrayToColor",
     {{kGray16, true}, {kRgb16}},
     [](VskImage* const* i, Values&) { tvskGrayToColor(i[0], i[1], 0.3f, 0.59f, 0.11f, nullptr); }},
    {"vskReduceBits dithering",
     {{kRgb16, true}, {kRgb8}},
     [](VskImage* const* i, Values&) { vskReduceBits(i[0], i[1], 0, 2, 2, nullptr); }},
    // Jitter draws from rand(), which threads share, so its result is only
    // checked against the rule that holds whatever rand() gives: each value
    // within 4 steps (5 up, with the round-up) of the plain reduction, modulo
    // 256. The job's result is then the plain reduction.
    {"vskReduceBits jitter",
     {{kRgb16}, {kRgb8}, {kRgb8}},
     [](VskImage* const* i, Values&) {
         vskReduceBits(i[0], i[2], 0, 1, 0, nullptr);
         vskReduceBits(i[0], i[1], 4, 1, 0, nullptr);
         const Values jittered = samples(i[1]), plain = samples(i[2]);
         EXPECT_NE(jittered, plain);
         for (std::size_t k = 0; k < plain.size(); ++k) {
             const std::int64_t up = (jittered[k] - plain[k] + 256) % 256;
             ASSERT_TRUE(up <= 5 || up >= 256 - 4) << jittered[k] << " from " << plain[k];
         }
         std::memcpy(i[1]->imageData, i[2]->imageData, static_cast<std::size_t>(i[2]->dataSize));
     }},
    {"vskRGB2HSV",
     {{kRgb8, true}, {kRgb8}},
     [](VskImage* const* i, Values&) { vskRGB2HSV(i[0], i[1], nullptr); }},
    {"vskHSV2RGB",
     {{kHsv8}, {kRgb8, true}},
     [](VskImage* const* i, Values&) { vskHSV2RGB(i[0], i[1], nullptr); }},
    {"vskRGB2HLS",
     {{kRgb16}, {kRgb16}},
     [](VskImage* const* i, Values&) { vskRGB2HLS(i[0], i[1], nullptr); }},
    {"vskHLS2RGB",
     {{kHls16, true}, {kRgb16, true}},
     [](VskImage* const* i, Values&) { vskHLS2RGB(i[0], i[1], nullptr); }},
    {"vskGetRect",
     {{kRgb8, true}},
     [](VskImage* const* i, Values& values) {
         vskSetBorderMode(i[0], VSK_BORDER_WRAP, 15, 0);
         int step = 0;
         void* p = vskGetRect(i[0], -5, -4, kWidth + 9, kHeight + 7, &step);
         if (!p) return;
         appendBytes(values, static_cast<const std::uint8_t*>(p),
                     static_cast<std::size_t>(step) * (kHeight + 7));
         vskFreeAligned(p);
     }},
    {"tvskTranslateDIB",
     {},
     [](VskImage* const*, Values& values) {
         const vsk::bmp::Dib dib = seededDib(8, 41);
         int clone = -1;
         VskImage* image = tvskTranslateDIB(dib.header(), &clone);
         if (!image) return;
         values.push_back(clone);
         const Values s = samples(image);
         values.insert(values.end(), s.begin(), s.end());
         tvskDeallocate(image, clone == 1 ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);
     }},
    {"tvskConvertFromDIB",
     {{kRgb8}},
     [](VskImage* const* i, Values&) {
         const vsk::bmp::Dib dib = seededDib(4, 42);
         tvskConvertFromDIB(dib.header(), i[0]);
     }},
    {"tvskConvertToDIB",
     {{kRgb8}},
     [](VskImage* const* i, Values& values) {
         vsk::bmp::Dib dib = vsk::bmp::Dib::make(kWidth, kHeight, 8, BI_RGB, 256);
         tvskConvertToDIB(i[0], dib.header(), 1, 2);  // a median-cut table
         appendBytes(values, dib.bytes(), dib.size());
     }},
    {"tvskCopy refused: the depths differ",
     {{kRgb8}, {kRgb16}},
     [](VskImage* const* i, Values&) { tvskCopy(i[0], i[1], nullptr); },
     VSK_STATUS_BAD_ARG},
};
constexpr int kJobCount = static_cast<int>(std::size(kJobs));

// Runs a job on fresh images from `seed` with a clear status; the thread's
// reports are cleared first.
Outcome run(ErrorCapture& capture, const Job& job, std::uint32_t seed) {
    std::vector<std::unique_ptr<Picture>> pictures;
    std::vector<VskImage*> images;
    for (const Spec& spec : job.images) {
        pictures.push_back(std::make_unique<Picture>(spec, seed++));
        images.push_back(pictures.back()->get());
    }
    Outcome out;
    capture.clear();
    job.op(images.data(), out.values);
    out.status = tvskGetErrStatus();
    for (const Report& r : capture.reports())
        out.reports.push_back(std::to_string(r.status) + " " + r.func + " " + r.file + ":" +
                              std::to_string(r.line) + " " + r.context);
    for (const auto& p : pictures) p->appendTo(out.values);
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
