// The propqos tool end to end, one test per folder of tests/tool/: the folder is copied to a
// scratch directory, the tool is run there with the arguments in `args` (one per line) and
// `stdin` on its standard input, and its standard output, standard error, exit status and the
// files named under `after/` are compared with `out`, `err`, `status` and `after/<path>` byte
// for byte. A `stdout-to` file names where standard output goes instead (`/dev/full`). PROPQOS_UPDATE_GOLDEN=1 rewrites out, err and status (and existing after/ files)
// from the run instead.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#ifndef PROPQOS_TOOL_PATH
#error "the tool's path is defined by the build when the tool is built"
#endif

namespace
{

namespace fs = std::filesystem;

const std::set<std::string> kControlFiles = {"args", "stdin", "out", "err", "status", "after", "stdout-to"};

std::string slurp(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void spill(const fs::path &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// The file's content, or `absent` when there is no such file.
std::string expected(const fs::path &path, const std::string &absent = "")
{
    return fs::exists(path) ? slurp(path) : absent;
}

class GoldenCase : public ::testing::Test
{
public:
    explicit GoldenCase(fs::path folder) : folder_(std::move(folder)) {}

    void TestBody() override
    {
        std::string pattern = ::testing::TempDir() + "propqos-golden-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        const fs::path scratch = pattern;
        for (const auto &entry : fs::directory_iterator(folder_))
            if (!kControlFiles.count(entry.path().filename().string()))
                fs::copy(entry.path(), scratch / entry.path().filename(),
                         fs::copy_options::recursive);

        std::vector<std::string> args;
        const std::string argText = slurp(folder_ / "args");
        for (std::size_t at = 0, end; at < argText.size(); at = end + 1) {
            end = argText.find('\n', at);
            end = end == std::string::npos ? argText.size() : end;
            args.push_back(argText.substr(at, end - at));
        }
        const int status = run(scratch, args);
        const std::string out = slurp(scratch / ".out"), err = slurp(scratch / ".err");

        if (std::getenv("PROPQOS_UPDATE_GOLDEN") != nullptr) {
            spill(folder_ / "out", out);
            err.empty() ? (void)fs::remove(folder_ / "err") : spill(folder_ / "err", err);
            status == 0 ? (void)fs::remove(folder_ / "status")
                        : spill(folder_ / "status", std::to_string(status) + "\n");
        } else {
            EXPECT_EQ(out, expected(folder_ / "out")) << "standard output";
            EXPECT_EQ(err, expected(folder_ / "err")) << "standard error";
            EXPECT_EQ(status, std::stoi(expected(folder_ / "status", "0")))
                << "exit status";
        }
        if (fs::exists(folder_ / "after"))
            for (const auto &entry : fs::recursive_directory_iterator(folder_ / "after")) {
                if (!entry.is_regular_file())
                    continue;
                const fs::path name = fs::relative(entry.path(), folder_ / "after");
                const std::string actual = expected(scratch / name, "(no such file)");
                if (std::getenv("PROPQOS_UPDATE_GOLDEN") != nullptr)
                    spill(entry.path(), actual);
                else
                    EXPECT_EQ(actual, slurp(entry.path())) << "content of " << name;
            }
        fs::remove_all(scratch);
    }

private:
    // Runs the tool in `dir`, its output to dir/.out and dir/.err; the exit status, or 128 plus
    // the signal's number when one ended it.
    int run(const fs::path &dir, const std::vector<std::string> &args)
    {
        const std::string in = fs::exists(folder_ / "stdin") ? (folder_ / "stdin").string()
                                                             : std::string("/dev/null");
        std::vector<char *> argv = {const_cast<char *>(PROPQOS_TOOL_PATH)};
        for (const std::string &a : args)
            argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            const int fd0 = open(in.c_str(), O_RDONLY);
            std::string to = expected(folder_ / "stdout-to", (dir / ".out").string());
            to.erase(to.find_last_not_of('\n') + 1);
            const int fd1 = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const int fd2 = open((dir / ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd0 < 0 || fd1 < 0 || fd2 < 0 || dup2(fd0, 0) < 0 || dup2(fd1, 1) < 0 ||
                dup2(fd2, 2) < 0 || chdir(dir.c_str()) != 0)
                _exit(127);
            execv(PROPQOS_TOOL_PATH, argv.data());
            _exit(127);
        }
        int raw = 0;
        EXPECT_EQ(waitpid(pid, &raw, 0), pid);
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    }

    fs::path folder_;
};

// One test per case folder, registered before the tests run.
const bool kRegistered = [] {
    std::set<fs::path> folders;
    for (const auto &entry : fs::directory_iterator(fs::path(PROPQOS_SOURCE_DIR) / "tests/tool"))
        if (entry.is_directory())
            folders.insert(entry.path());
    for (const fs::path &folder : folders) {
        // ctest runs each case through --gtest_filter, where '-' starts the excluded patterns.
        std::string name = folder.filename().string();
        std::replace(name.begin(), name.end(), '-', '_');
        ::testing::RegisterTest("ToolGolden", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                [folder]() -> ::testing::Test * { return new GoldenCase(folder); });
    }
    return true;
}();

} // namespace
