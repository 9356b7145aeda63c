// softcc: decodes the captions of a caption or video file with libvqsoftcc
// and shows, exports or logs what the library produces.  This file is the
// process's edge: arguments, the input file or standard input, the output
// files and the exit status.  See tools/softcc/README.md.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "app.h"
#ifdef SOFTCC_WITH_AVFORMAT
#include "reader_av.h"
#endif

// softcc defines the platform's diagnostic sink itself: the executable's
// definition takes precedence over the one in libvqsoftcc_platform (which
// still supplies the memory routines), so every library report reaches the
// chosen output.
extern "C" __attribute__((visibility("default"))) uint32_t
VQNOTIFY_implementation(uint32_t level, SoftCCStatus status, const char *path, uint32_t line, const char *message);

extern "C" uint32_t VQNOTIFY_implementation(uint32_t, SoftCCStatus status, const char *path, uint32_t line,
                                            const char *message)
{
    softcc::library_report(status, path, line, message, stderr);
    return 0;
}

namespace {

// A regular file can seek (an MP4 whose index follows its media data needs
// that); a pipe is read once, front to back.
softcc::Input open_input(const std::string &name, FILE *f)
{
    struct stat st{};
    bool regular = fstat(fileno(f), &st) == 0 && S_ISREG(st.st_mode);
    auto read = [f](uint8_t *buffer, size_t size) -> long {
        size_t n = std::fread(buffer, 1, size, f);
        return n == 0 && std::ferror(f) ? -1 : (long)n;
    };
    if (!regular)
        return softcc::Input(name, read);
    int64_t size = st.st_size;
    return softcc::Input(
        name, read, [f](int64_t offset) { return fseeko(f, offset, SEEK_SET) == 0; }, [size] { return size; });
}

}  // namespace

int main(int argc, char **argv)
{
    std::vector<softcc::Reader> readers = softcc::core_readers();
    std::string version = "softcc " SOFTCC_VERSION;
#ifdef SOFTCC_WITH_AVFORMAT
    readers.push_back(softcc::av_reader());
    version += " (containers: " + softcc::av_version() + ")";
#else
    readers.push_back(softcc::container_refusal());
    version += " (no containers)";
#endif
    softcc::Options options;
    int status = softcc::parse_options(argc, argv, readers, version, options, stdout, stderr);
    if (status != softcc::kGoOn)
        return status;
    bool from_stdin = options.file == "-";
    FILE *f = from_stdin ? stdin : std::fopen(options.file.c_str(), "rb");
    if (!f) {
        std::fprintf(stderr, "softcc: %s: cannot read: %s\n", options.file.c_str(), std::strerror(errno));
        return 2;
    }
    softcc::Input input = open_input(options.file, f);
    softcc::Io io;
    io.ansi = isatty(STDOUT_FILENO);
    io.create = [](const std::string &path) { return std::fopen(path.c_str(), "wb"); };
    status = softcc::run(options, input, readers, io);
    if (!from_stdin)
        std::fclose(f);
    return status;
}
