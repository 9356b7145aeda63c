// softcc's command line and its run from a parsed command line to an exit
// status.  Process input and output stay with the caller (main.cpp): the
// input arrives as an Input, the output through the streams and the file
// opener of an Io, so the same core runs elsewhere.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "readers.h"
#include "vqsoftcc.h"

namespace softcc {

struct Options {
    std::string file;    // "-" reads standard input
    std::string input;   // reader name; empty: by content, then extension
    std::string output = "screen";
    std::string service; // empty: the default track; "all": every track with data
    std::string to;      // -o: a file, or with --service all a prefix
    bool strict = false;
    bool probe = false;
};

constexpr int kGoOn = -1;

// Parses argv (getopt_long conventions); returns kGoOn, or the exit status
// after printing help, the version or an error.  `version` is the text
// --version prints.
int parse_options(int argc, char **argv, const std::vector<Reader> &readers, const std::string &version,
                  Options &options, FILE *out, FILE *err);

struct Io {
    FILE *out = stdout;
    FILE *err = stderr;
    bool ansi = false;                              // colour the screen output on `out`
    std::function<FILE *(const std::string &)> create;  // opens an output file, null on failure
};

int run(const Options &options, Input &in, const std::vector<Reader> &readers, const Io &io);

// What the library reports through VQNOTIFY_implementation: to `err`, and to
// the output of the track being decoded.
void library_report(SoftCCStatus status, const char *path, uint32_t line, const char *message, FILE *err);

}  // namespace softcc
