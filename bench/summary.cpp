// The speed summary: one row per operation that people choose an imaging
// library for, timed on a memory-sized (4096 x 4096) and a cache-sized
// (512 x 512) image next to a memcpy that moves the same bytes (source plus
// destination) as the operation reads plus writes, in the same run. Prints a
// table of milliseconds, baseline, ratio and target at the end. The tiled
// rows compare with the same call into an untiled destination instead.
//
// Images are 8-bit, three channels, pixel order unless a row says otherwise.
// Zoom rows name the destination's size (the source is the size divided by
// the factor); decimate, blur and colour rows the source's.
#include <sys/utsname.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "support/benchsupport.hpp"

namespace {

using vskbench::Image;
using vskbench::Shape;
using vskbench::makeImage;

// One timed call and the bytes it reads plus writes.
struct Case {
    std::vector<Image> images;
    std::unique_ptr<vskbench::TileStore> store;
    std::function<void()> op;
    std::int64_t bytes = 0;
};

struct Row {
    const char* name;
    double target;
    std::function<Case(int side)> make;
    const char* baseline = nullptr;  // the row whose time is the baseline; null: memcpy
};

Shape rgb(int side) { return {3, VSK_8U, side, side}; }

// src -> dst with the same shape, reading and writing one image's bytes.
Case unary(const Shape& shape, std::function<void(VskImage*, VskImage*)> call) {
    Case c;
    c.images.push_back(makeImage(shape, 1));
    c.images.push_back(makeImage(shape, 2));
    VskImage *s = c.images[0].get(), *d = c.images[1].get();
    c.op = [=] { call(s, d); };
    c.bytes = s->dataSize + std::int64_t{d->dataSize};
    return c;
}

Case resize(const Shape& from, const Shape& to, std::function<void(VskImage*, VskImage*)> call) {
    Case c;
    c.images.push_back(makeImage(from, 1));
    c.images.push_back(makeImage(to, 2));
    VskImage *s = c.images[0].get(), *d = c.images[1].get();
    c.op = [=] { call(s, d); };
    c.bytes = s->dataSize + std::int64_t{d->dataSize};
    return c;
}

Case zoom(int side, int u, int l, int interp) {
    const int from = side * l / u;
    return resize(rgb(from), rgb(from * u / l), [=](VskImage* s, VskImage* d) {
        tvskZoom(s, d, u, l, u, l, interp, nullptr);
    });
}

Case decimate(int side, int u, int l, int interp) {
    return resize(rgb(side), rgb(side * u / l), [=](VskImage* s, VskImage* d) {
        tvskDecimate(s, d, u, l, u, l, interp, nullptr);
    });
}

Case composite(int side, int premul, int divide) {
    const Shape rgba{4, VSK_8U, side, side, VSK_DATA_ORDER_PIXEL, 4};
    Case c;
    for (std::uint32_t seed = 1; seed <= 3; ++seed) c.images.push_back(makeImage(rgba, seed));
    VskImage *a = c.images[0].get(), *b = c.images[1].get(), *d = c.images[2].get();
    c.op = [=] {
        tvskAlphaComposite(a, b, d, 0, nullptr, nullptr, nullptr, premul, divide, nullptr);
    };
    c.bytes = 3 * std::int64_t{d->dataSize};
    return c;
}

// src -> a destination tiled 64 x 64.
Case intoTiles(int side, std::function<void(VskImage*, VskImage*)> call) {
    Case c;
    c.images.push_back(makeImage(rgb(side), 1));
    c.store = std::make_unique<vskbench::TileStore>(rgb(side), 64, 64);
    c.images.push_back(c.store->makeImage());
    VskImage *s = c.images[0].get(), *d = c.images[1].get();
    c.op = [=] { call(s, d); };
    c.bytes = 2 * std::int64_t{s->dataSize};
    return c;
}

void copy(VskImage* s, VskImage* d) { tvskCopy(s, d, nullptr); }
void addS(VskImage* s, VskImage* d) { tvskAddS(s, d, 40, nullptr); }

const std::vector<Row>& rows() {
    static const std::vector<Row> table = {
        {"tvskSet", 1.05,
         [](int n) {
             Case c;
             c.images.push_back(makeImage(rgb(n)));
             VskImage* image = c.images[0].get();
             c.op = [=] { tvskSet(image, 99, nullptr); };
             c.bytes = image->dataSize;
             return c;
         }},
        {"tvskCopy", 1.05, [](int n) { return unary(rgb(n), copy); }},
        {"tvskAddS", 1.05, [](int n) { return unary(rgb(n), addS); }},
        {"tvskSubtractS", 1.05,
         [](int n) {
             return unary(rgb(n), [](VskImage* s, VskImage* d) {
                 tvskSubtractS(s, d, 40, 0, nullptr);
             });
         }},
        {"tvskAndS", 1.05,
         [](int n) {
             return unary(rgb(n), [](VskImage* s, VskImage* d) { tvskAndS(s, d, 0x5A, nullptr); });
         }},
        {"tvskAnd", 1.05,
         [](int n) {
             Case c = unary(rgb(n), [](VskImage*, VskImage*) {});
             c.images.push_back(makeImage(rgb(n), 3));
             VskImage *a = c.images[0].get(), *b = c.images[2].get(), *d = c.images[1].get();
             c.op = [=] { tvskAnd(a, b, d, nullptr); };
             c.bytes += b->dataSize;
             return c;
         }},
        {"tvskMirror about x", 1.05,
         [](int n) {
             return unary(rgb(n), [](VskImage* s, VskImage* d) { tvskMirror(s, d, 0, nullptr); });
         }},
        {"tvskMirror about y", 1.5,
         [](int n) {
             return unary(rgb(n), [](VskImage* s, VskImage* d) { tvskMirror(s, d, 1, nullptr); });
         }},
        {"tvskMirror both axes", 1.5,
         [](int n) {
             return unary(rgb(n), [](VskImage* s, VskImage* d) { tvskMirror(s, d, -1, nullptr); });
         }},
        {"tvskZoom 2x2 linear", 3.5, [](int n) { return zoom(n, 2, 1, VSK_INTER_LINEAR); }},
        {"tvskZoom 5/2 linear", 8, [](int n) { return zoom(n, 5, 2, VSK_INTER_LINEAR); }},
        {"tvskZoom 2x2 cubic", 15, [](int n) { return zoom(n, 2, 1, VSK_INTER_CUBIC); }},
        {"tvskDecimate 1/2 nearest", 1.5, [](int n) { return decimate(n, 1, 2, VSK_INTER_NN); }},
        {"tvskDecimate 2/3 linear", 4, [](int n) { return decimate(n, 2, 3, VSK_INTER_LINEAR); }},
        {"tvskDecimate 2/3 cubic", 12, [](int n) { return decimate(n, 2, 3, VSK_INTER_CUBIC); }},
        {"tvskBlur 5x5", 5,
         [](int n) {
             return unary(rgb(n), [](VskImage* s, VskImage* d) { tvskBlur(s, d, 5, 5, 2, 2, nullptr); });
         }},
        {"tvskBlur 31x31", 5,
         [](int n) {
             return unary(rgb(n),
                          [](VskImage* s, VskImage* d) { tvskBlur(s, d, 31, 31, 15, 15, nullptr); });
         }},
        {"tvskColorToGray", 1.4,
         [](int n) {
             return resize(rgb(n), {1, VSK_8U, n, n},
                           [](VskImage* s, VskImage* d) { tvskColorToGray(s, d, nullptr); });
         }},
        {"tvskColorToGray 16-bit", 1.4,
         [](int n) {
             return resize({3, VSK_16U, n, n}, {1, VSK_16U, n, n},
                           [](VskImage* s, VskImage* d) { tvskColorToGray(s, d, nullptr); });
         }},
        {"tvskGrayToColor", 1.2,
         [](int n) {
             return resize({1, VSK_8U, n, n}, rgb(n), [](VskImage* s, VskImage* d) {
                 tvskGrayToColor(s, d, 0.25f, 0.5f, 0.75f, nullptr);
             });
         }},
        {"tvskAlphaComposite OVER", 1.5, [](int n) { return composite(n, 0, 0); }},
        {"tvskAlphaComposite OVER premultiplied", 1.2, [](int n) { return composite(n, 1, 0); }},
        {"tvskAlphaComposite OVER divide", 7, [](int n) { return composite(n, 0, 1); }},
        {"tvskMirror 1-bit about y", 3,
         [](int n) {
             return unary({1, VSK_1U, n, n},
                          [](VskImage* s, VskImage* d) { tvskMirror(s, d, 1, nullptr); });
         }},
        {"tvskCopy into 64x64 tiles", 1.3, [](int n) { return intoTiles(n, copy); }, "tvskCopy"},
        {"tvskAddS into 64x64 tiles", 1.15, [](int n) { return intoTiles(n, addS); }, "tvskAddS"},
    };
    return table;
}

const int kSides[] = {4096, 512};

std::string nameOf(const char* row, int side, const char* what) {
    return std::string(row) + "/" + std::to_string(side) + "/" + what;
}

const Row& rowNamed(const char* name) {
    for (const Row& row : rows())
        if (std::string(row.name) == name) return row;
    std::abort();  // a baseline names a row of the table
}

// The benchmark whose time a row is compared with: a memcpy of the same
// bytes, or the same call untiled.
std::string baselineOf(const Row& row, int side) {
    return nameOf(row.name, side, row.baseline ? "untiled" : "memcpy");
}

// The case being timed: built on its first use and kept while the same row
// and size run (the benchmark function is called several times per run).
struct CurrentCase {
    std::string key;
    Case value;
    Case& get(const Row& row, int side) {
        const std::string k = nameOf(row.name, side, "");
        if (k != key) {
            value = Case{};
            value = row.make(side);
            key = k;
        }
        return value;
    }
} current;

// Keeps the fastest repetition of every benchmark and prints one line per
// benchmark as it finishes.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "min") continue;
            const double ms =
                run.GetAdjustedRealTime() * 1e3 / benchmark::GetTimeUnitMultiplier(run.time_unit);
            fastest[run.run_name.function_name] = ms;
            std::fprintf(stderr, "%-60s %10.3f ms\n", run.run_name.function_name.c_str(), ms);
        }
    }
    std::map<std::string, double> fastest;  // milliseconds
};

double minimum(const std::vector<double>& v) {
    double m = v.empty() ? 0 : v[0];
    for (double x : v) m = x < m ? x : m;
    return m;
}

void configure(benchmark::internal::Benchmark* b) {
    b->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->MinTime(0.1)
        ->Repetitions(3)
        ->ComputeStatistics("min", minimum)
        ->ReportAggregatesOnly(true);
}

std::string machine() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line, model = "unknown CPU";
    while (std::getline(cpuinfo, line)) {
        if (line.rfind("model name", 0) == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    }
    struct utsname u {};
    uname(&u);
    return model + ", " + u.machine;
}

}  // namespace

int main(int argc, char** argv) {
    for (int side : kSides) {
        for (const Row& row : rows()) {
            // The baseline runs right before the operation it is compared with
            // (memory bandwidth drifts over a run on a shared machine).
            const std::string base = baselineOf(row, side);
            if (!row.baseline) {
                benchmark::RegisterBenchmark(base.c_str(), [&row, side](benchmark::State& s) {
                    const std::int64_t bytes = current.get(row, side).bytes;
                    vskbench::memcpyLoop(s, (bytes + 1) / 2);
                })->Apply(configure);
            } else {
                const Row& untiled = rowNamed(row.baseline);
                benchmark::RegisterBenchmark(base.c_str(), [&untiled, side](benchmark::State& s) {
                    Case& c = current.get(untiled, side);
                    vskbench::timeLoop(s, c.bytes, c.op);
                })->Apply(configure);
            }
            const std::string op = nameOf(row.name, side, "op");
            benchmark::RegisterBenchmark(op.c_str(), [&row, side](benchmark::State& s) {
                Case& c = current.get(row, side);
                vskbench::timeLoop(s, c.bytes, c.op);
            })->Apply(configure);
        }
    }
    benchmark::Initialize(&argc, argv);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    current = CurrentCase{};

    const char* simd = std::getenv("VSK_SIMD");
    std::printf("\nSpeed summary on %s%s%s: time of one call and of a memcpy moving the same\n"
                "bytes (source plus destination) in the same run; the tiled rows compare with\n"
                "the same call untiled.\n\n",
                machine().c_str(), simd ? ", VSK_SIMD=" : "", simd ? simd : "");
    std::printf("| operation | size | ms | baseline ms | ratio | target |\n");
    std::printf("|---|---|---:|---:|---:|---:|\n");
    for (int side : kSides) {
        for (const Row& row : rows()) {
            const auto op = collector.fastest.find(nameOf(row.name, side, "op"));
            const auto base = collector.fastest.find(baselineOf(row, side));
            if (op == collector.fastest.end() || base == collector.fastest.end()) continue;
            const double ratio = op->second / base->second;
            char target[32];
            if (side == kSides[0])
                std::snprintf(target, sizeof target, "%s %.2f", ratio <= row.target ? "≤" : "✗ ≤",
                              row.target);
            else
                std::snprintf(target, sizeof target, "(watch)");
            std::printf("| %s%s | %d² | %.3f | %.3f | %.2f | %s |\n", row.name,
                        row.baseline ? " (vs untiled)" : "", side, op->second, base->second, ratio,
                        target);
        }
    }
    benchmark::Shutdown();
    return 0;
}
