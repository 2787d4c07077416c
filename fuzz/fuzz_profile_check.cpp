// The tool's reading and checking of a profile file, on arbitrary bytes: `propqos check` in its
// text and JSON forms and with a forced validation action, run on the input written to a
// scratch file, exactly as the tool runs it. Unusable input must come back as the tool's own
// InputError or exit status 2; any other exception escaping, a crash, a sanitizer report, any
// other status, or module memory left outstanding is a finding.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Commands.hpp"
#include "fuzz/FuzzSupport.h"
#include <propqos/PropertyList.hpp>

namespace {

std::string g_path;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // The findings are the tool's output, not ours: keep them off the fuzzer's console.
    const int devnull = open("/dev/null", O_WRONLY);
    if (devnull >= 0) {
        dup2(devnull, STDOUT_FILENO);
        close(devnull);
    }
    const char *directory = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string pattern = std::string(directory) + "/propqos-fuzz-XXXXXX.xml";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = mkstemps(name.data(), 4);
    if (fd < 0) {
        std::perror("mkstemps");
        std::abort();
    }
    close(fd);
    g_path = name.data();
    std::atexit([] { unlink(g_path.c_str()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 65536) return 0;
    std::FILE *file = std::fopen(g_path.c_str(), "wb");
    FUZZ_CHECK(file != nullptr);
    FUZZ_CHECK(std::fwrite(data, 1, size, file) == size);
    FUZZ_CHECK(std::fclose(file) == 0);

    using namespace propqos::cli;
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT;
    std::vector<CheckOptions> runs(3);
    runs[1].format = "json";
    runs[2].action = propqos::ValidationAction::Warning;
    for (CheckOptions &options : runs) {
        options.files = {g_path};
        propqos_fuzz::HeapBalance balance;
        try {
            const int code = runCheck(options);
            FUZZ_CHECK(code == kExitClean || code == kExitFindings || code == kExitUnusable);
        } catch (const InputError &) {
            // malformed XML, a root that is not <dds>: reported by the tool as such
        } catch (const UsageError &) {
            FUZZ_CHECK(false);   // the options are fixed and valid
        }
    }
    return 0;
}
