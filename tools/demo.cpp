// The demo: a tour of the commands on the built-in test card, with an HTML
// contact sheet of the results.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "imagefile.hpp"
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
    const bool ok = image && vsk::file::save(image, path, {}, &error);
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
    // Results are PNG files where the build has PNG, and one stays a BMP to show that format.
    const bool png = vsk::file::available(vsk::file::Format::Png);
    auto out = [&](const std::string& name) { return in(name + (png ? ".png" : ".bmp")); };
    const int W = 320, H = 240;
    if (!writeDrawn(drawTestCard(W, H), out("testcard")) || !writeDrawn(drawBadge(W, H), out("badge"))) return 1;
    // A mask for AND: stripes of full and cleared samples.
    {
        VskImage* mask = tvskCreateImageHeader(3, 0, VSK_8U, "RGB", "BGR", 0, 0, 4, H, W, nullptr, nullptr, nullptr);
        if (mask) tvskAllocateImage(mask, 255);
        for (int y = 0; mask && mask->imageData && y < H; ++y)
            for (int x = 0; x < W; ++x)
                if (((x + y) / 12) % 2) std::memset(mask->imageData + y * mask->widthStep + 3 * x, 0x3F, 3);
        if (!writeDrawn(mask, out("stripes"))) return 1;
    }
    const std::string card = out("testcard"), crop = out("crop"), gray = out("gray");

    std::vector<Step> steps = {
        {"Copy a region", {"copy", card, crop, "--roi", "96,48,128,96"}},
        {"Copy one channel (red)", {"copy", card, out("red"), "--coi", "3"}},
        {"Mirror left to right", {"mirror", card, out("mirror"), "--axis", "1"}},
        {"Mirror both ways, inside a region", {"mirror", card, out("mirror-roi"), "--axis", "-1", "--roi", "40,80,240,120"}},
        {"Zoom x2, nearest neighbour", {"zoom", crop, out("zoom-nn"), "--x", "2/1", "--y", "2/1", "--interp", "nn"}},
        {"Zoom x5/2, cubic", {"zoom", crop, out("zoom-cubic"), "--x", "5/2", "--y", "5/2", "--interp", "cubic"}},
        {"Decimate to 1/2, linear", {"decimate", card, out("decimate"), "--x", "1/2", "--y", "1/2", "--interp", "linear"}},
        {"Decimate to 2/3, cubic", {"decimate", card, out("decimate-cubic"), "--x", "2/3", "--y", "2/3", "--interp", "cubic"}},
        {"Box blur 9x9", {"blur", card, out("blur"), "--size", "9x9"}},
        {"Box blur 15x15 in a region, wrapped edges", {"blur", card, out("blur-roi"), "--size", "15x15", "--roi", "20,20,200,120", "--border", "wrap"}},
        {"Add 80 (saturating)", {"addS", card, out("brighter"), "--value", "80"}},
        {"255 minus each sample", {"subS", card, out("negative"), "--value", "255", "--reverse"}},
        {"AND with 0xC0 (posterize)", {"andS", card, out("posterized"), "--value", "0xC0"}},
        {"AND with a striped mask", {"and", card, out("stripes"), out("masked")}},
        {"Fill the blue channel of a region", {"fill", card, out("fill"), "--value", "255", "--coi", "1", "--roi", "200,20,100,200"}},
        {"Badge OVER test card", {"composite", out("badge"), card, out("composite-over"), "--op", "over"}},
        {"Badge over test card at constant alpha 96", {"composite", out("badge"), card, out("composite-const"), "--op", "over", "--alpha-a", "96", "--alpha-b", "255"}},
        {"Colour to grey", {"gray", card, gray}},
        {"Grey to colour (sepia fractions)", {"color", gray, out("sepia"), "--fractions", "1.0,0.8,0.55"}},
        {"1 bit with jitter", {"dither", gray, out("dither-1bit"), "--bits", "1", "--jitter", "6"}},
        {"Floyd-Steinberg, 2 levels per channel", {"dither", card, out("dither-fs"), "--bits", "8", "--type", "fs", "--levels", "1"}},
        {"Ordered 4x4, 4 levels per channel", {"dither", card, out("dither-ordered"), "--bits", "8", "--type", "ordered", "--levels", "2"}},
        {"Fixed 16-colour table, as a BMP file", {"palette", card, in("palette-fixed16.bmp"), "--colors", "16"}},
        {"Median-cut 16-colour table", {"palette", card, out("palette-median16"), "--colors", "16", "--median"}},
        {"Median-cut 256-colour table", {"palette", card, out("palette-median256"), "--colors", "256", "--median"}},
    };
    if (vsk::file::available(vsk::file::Format::Jpeg))
        steps.push_back({"JPEG at quality 30", {"copy", card, in("jpeg-q30.jpg"), "--quality", "30"}});

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
            if (vsk::file::formatOfName(a)) output = fs::path(a).filename().string();
        if (status != 0) ++failures;
        cards << "<figure>" << (status == 0 ? "<img src=\"" + output + "\" alt=\"" + html(s.title) + "\">" : "<div class=failed>failed (exit status " + std::to_string(status) + ")</div>")
              << "<figcaption><b>" << html(s.title) << "</b><code>" << html(line) << "</code><small>"
              << static_cast<int>(ms + 0.5) << " ms</small></figcaption></figure>\n";
    }
    auto input = [&](const std::string& name, const char* alt, const char* title) {
        return "<figure><img src=\"" + fs::path(out(name)).filename().string() + "\" alt=\"" + alt +
               "\"><figcaption><b>" + title + "</b></figcaption></figure>\n";
    };
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
         << input("testcard", "test card", "Test card (input)") << input("badge", "badge", "Badge with alpha (input)")
         << input("stripes", "stripes", "Striped mask (input)") << cards.str() << "</main>\n</html>\n";
    if (!page) {
        std::fprintf(stderr, "vsk demo: cannot write %s\n", in("index.html").c_str());
        return 1;
    }
    std::fprintf(stderr, "vsk demo: %zu results in %s (open %s)%s\n", total - failures, dir.c_str(),
                 in("index.html").c_str(), failures ? (", " + std::to_string(failures) + " failed").c_str() : "");
    return failures ? 1 : 0;
}

}  // namespace vsk::cli
