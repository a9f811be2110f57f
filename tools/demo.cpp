// The demo: a tour of the commands on the built-in test card, with an HTML
// contact sheet of the results.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "bmpfile.hpp"
#include "cli.hpp"

namespace vsk::cli {

namespace {

struct Step {
    const char* title;
    std::vector<std::string> args;  // the command line after "vsk"
};

std::string html(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '&') out += "&amp;";
        else out += c;
    }
    return out;
}

bool writeDrawn(VskImage* image, const std::string& path) {
    std::string error;
    const bool ok = image && vsk::bmp::saveImage(image, path, {}, &error);
    if (!ok) std::fprintf(stderr, "vsk demo: %s\n", image ? error.c_str() : "out of memory");
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
    return ok;
}

}  // namespace

int demo(const std::string& dir) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec) {
        std::fprintf(stderr, "vsk demo: cannot create %s: %s\n", dir.c_str(), ec.message().c_str());
        return 1;
    }
    auto in = [&](const std::string& f) { return (fs::path(dir) / f).string(); };
    const int W = 320, H = 240;
    if (!writeDrawn(drawTestCard(W, H), in("testcard.bmp")) || !writeDrawn(drawBadge(W, H), in("badge.bmp")))
        return 1;
    // A mask for AND: stripes of full and cleared samples.
    {
        VskImage* mask = tvskCreateImageHeader(3, 0, VSK_8U, "RGB", "BGR", 0, 0, 4, H, W, nullptr, nullptr, nullptr);
        if (mask) tvskAllocateImage(mask, 255);
        for (int y = 0; mask && mask->imageData && y < H; ++y)
            for (int x = 0; x < W; ++x)
                if (((x + y) / 12) % 2) std::memset(mask->imageData + y * mask->widthStep + 3 * x, 0x3F, 3);
        if (!writeDrawn(mask, in("stripes.bmp"))) return 1;
    }

    const std::vector<Step> steps = {
        {"Copy a region", {"copy", in("testcard.bmp"), in("crop.bmp"), "--roi", "96,48,128,96"}},
        {"Copy one channel (red)", {"copy", in("testcard.bmp"), in("red.bmp"), "--coi", "3"}},
        {"Mirror left to right", {"mirror", in("testcard.bmp"), in("mirror.bmp"), "--axis", "1"}},
        {"Mirror both ways, inside a region", {"mirror", in("testcard.bmp"), in("mirror-roi.bmp"), "--axis", "-1", "--roi", "40,80,240,120"}},
        {"Zoom x2, nearest neighbour", {"zoom", in("crop.bmp"), in("zoom-nn.bmp"), "--x", "2/1", "--y", "2/1", "--interp", "nn"}},
        {"Zoom x5/2, cubic", {"zoom", in("crop.bmp"), in("zoom-cubic.bmp"), "--x", "5/2", "--y", "5/2", "--interp", "cubic"}},
        {"Decimate to 1/2, linear", {"decimate", in("testcard.bmp"), in("decimate.bmp"), "--x", "1/2", "--y", "1/2", "--interp", "linear"}},
        {"Decimate to 2/3, cubic", {"decimate", in("testcard.bmp"), in("decimate-cubic.bmp"), "--x", "2/3", "--y", "2/3", "--interp", "cubic"}},
        {"Box blur 9x9", {"blur", in("testcard.bmp"), in("blur.bmp"), "--size", "9x9"}},
        {"Box blur 15x15 in a region, wrapped edges", {"blur", in("testcard.bmp"), in("blur-roi.bmp"), "--size", "15x15", "--roi", "20,20,200,120", "--border", "wrap"}},
        {"Add 80 (saturating)", {"addS", in("testcard.bmp"), in("brighter.bmp"), "--value", "80"}},
        {"255 minus each sample", {"subS", in("testcard.bmp"), in("negative.bmp"), "--value", "255", "--reverse"}},
        {"AND with 0xC0 (posterize)", {"andS", in("testcard.bmp"), in("posterized.bmp"), "--value", "0xC0"}},
        {"AND with a striped mask", {"and", in("testcard.bmp"), in("stripes.bmp"), in("masked.bmp")}},
        {"Fill the blue channel of a region", {"fill", in("testcard.bmp"), in("fill.bmp"), "--value", "255", "--coi", "1", "--roi", "200,20,100,200"}},
        {"Badge OVER test card", {"composite", in("badge.bmp"), in("testcard.bmp"), in("composite-over.bmp"), "--op", "over"}},
        {"Badge over test card at constant alpha 96", {"composite", in("badge.bmp"), in("testcard.bmp"), in("composite-const.bmp"), "--op", "over", "--alpha-a", "96", "--alpha-b", "255"}},
        {"Colour to grey", {"gray", in("testcard.bmp"), in("gray.bmp")}},
        {"Grey to colour (sepia fractions)", {"color", in("gray.bmp"), in("sepia.bmp"), "--fractions", "1.0,0.8,0.55"}},
        {"1 bit with jitter", {"dither", in("gray.bmp"), in("dither-1bit.bmp"), "--bits", "1", "--jitter", "6"}},
        {"Floyd-Steinberg, 2 levels per channel", {"dither", in("testcard.bmp"), in("dither-fs.bmp"), "--bits", "8", "--type", "fs", "--levels", "1"}},
        {"Ordered 4x4, 4 levels per channel", {"dither", in("testcard.bmp"), in("dither-ordered.bmp"), "--bits", "8", "--type", "ordered", "--levels", "2"}},
        {"Fixed 16-colour table", {"palette", in("testcard.bmp"), in("palette-fixed16.bmp"), "--colors", "16"}},
        {"Median-cut 16-colour table", {"palette", in("testcard.bmp"), in("palette-median16.bmp"), "--colors", "16", "--median"}},
        {"Median-cut 256-colour table", {"palette", in("testcard.bmp"), in("palette-median256.bmp"), "--colors", "256", "--median"}},
    };

    std::ostringstream cards;
    int failures = 0;
    const std::size_t total = steps.size();
    for (std::size_t i = 0; i < total; ++i) {
        const Step& s = steps[i];
        std::string line = "vsk";
        for (const std::string& a : s.args) line += " " + (a.rfind(dir, 0) == 0 ? fs::path(a).filename().string() : a);
        std::fprintf(stderr, "[%zu/%zu] %s\n", i + 1, total, line.c_str());
        const auto t0 = std::chrono::steady_clock::now();
        const int status = run(s.args);
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        std::string output;
        for (const std::string& a : s.args)
            if (a.size() > 4 && a.compare(a.size() - 4, 4, ".bmp") == 0) output = fs::path(a).filename().string();
        if (status != 0) ++failures;
        cards << "<figure>" << (status == 0 ? "<img src=\"" + output + "\" alt=\"" + html(s.title) + "\">" : "<div class=failed>failed (exit status " + std::to_string(status) + ")</div>")
              << "<figcaption><b>" << html(s.title) << "</b><code>" << html(line) << "</code><small>"
              << static_cast<int>(ms + 0.5) << " ms</small></figcaption></figure>\n";
    }
    std::ofstream page(in("index.html"));
    page << "<!doctype html>\n<html lang=en><meta charset=utf-8><title>vsk demo</title>\n<style>\n"
            "body{font-family:system-ui,sans-serif;background:#202124;color:#e8eaed;margin:24px}\n"
            "main{display:grid;grid-template-columns:repeat(auto-fill,minmax(340px,1fr));gap:18px}\n"
            "figure{margin:0;background:#2d2e31;padding:10px;border-radius:8px}\n"
            "img{display:block;max-width:100%;image-rendering:pixelated;margin:auto}\n"
            "figcaption{margin-top:8px}code{display:block;color:#8ab4f8;font-size:12px;word-break:break-all}\n"
            "small{color:#9aa0a6}.failed{color:#f28b82;padding:40px;text-align:center}</style>\n"
            "<h1>vsk demo</h1><p>Each result beside the command that made it. Inputs: the built-in test card, a badge "
            "with an alpha channel and a striped mask.</p>\n<main>\n"
            "<figure><img src=testcard.bmp alt=\"test card\"><figcaption><b>Test card (input)</b></figcaption></figure>\n"
            "<figure><img src=badge.bmp alt=badge><figcaption><b>Badge with alpha (input)</b></figcaption></figure>\n"
            "<figure><img src=stripes.bmp alt=stripes><figcaption><b>Striped mask (input)</b></figcaption></figure>\n"
         << cards.str() << "</main>\n</html>\n";
    if (!page) {
        std::fprintf(stderr, "vsk demo: cannot write %s\n", in("index.html").c_str());
        return 1;
    }
    std::fprintf(stderr, "vsk demo: %zu results in %s (open %s)%s\n", total - failures, dir.c_str(),
                 in("index.html").c_str(), failures ? (", " + std::to_string(failures) + " failed").c_str() : "");
    return failures ? 1 : 0;
}

}  // namespace vsk::cli
