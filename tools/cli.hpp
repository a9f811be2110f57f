// The vsk command-line tool: commands that apply the library's operations to
// BMP files.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "vsk.h"

namespace vsk::cli {

// Parsed arguments of one command: positional files, "--name value" options
// and "--flag" switches.
struct Args {
    std::vector<std::string> files;
    std::map<std::string, std::string> options;
    std::set<std::string> flags;
};

// Runs one command line (argv without the program name); returns the exit
// status. Messages go to stderr, results to stdout.
int run(const std::vector<std::string>& argv);

// Draws the built-in test card: an 8-bit colour image (blue first) with
// gradients, colour bars, fine lines, a zone plate and text-like detail.
VskImage* drawTestCard(int width, int height);
// A companion image with an alpha channel (a soft-edged badge) for compositing.
VskImage* drawBadge(int width, int height);
// Draws text in a 5x7 pixel font into an image at (x, y) with the given
// channel values (blue first).
void drawText(VskImage* image, int x, int y, const std::string& text, const int* colour, int scale = 1);

// The demo: draws the test card, runs a tour of the commands on it and writes
// the results and an index.html contact sheet into `dir`.
int demo(const std::string& dir);

}  // namespace vsk::cli
