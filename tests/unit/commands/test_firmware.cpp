// Which files the firmware update accepts as images.
#include "commands/firmware.h"
#include "support/scratch_dir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace
{

// errno of a refused open, 0 for an accepted one.
int open_error(const std::string &path)
{
    errno = 0;
    int fd = open_userfs_file(path.c_str(), O_RDONLY, 0);
    if (fd < 0) return errno;
    close(fd);
    return 0;
}

} // namespace

TEST(OpenUserfsFile, OnlySingleLinkRegularFilesOnUserfsAndBeyondTheMinimumByTheirCanonicalPath)
{
    // A scratch folder stands for /userfs, "/proc" for the root: surely another file system.
    scratch_dir dir;
    const std::string base = dir.path();
    const firmware_places saved = firmware_paths;
    firmware_paths.userfs = base.c_str();
    firmware_paths.root = "/proc";
    firmware_paths.log_files = {"/proc/version", nullptr};
    dir.write("plain", "x");
    dir.write("linked", "x");
    ASSERT_EQ(link(dir.file("linked").c_str(), dir.file("second").c_str()), 0);
    ASSERT_EQ(symlink("plain", dir.file("symbolic").c_str()), 0);
    ASSERT_EQ(mkdir(dir.file("folder").c_str(), 0700), 0);
    ASSERT_EQ(symlink(base.c_str(), dir.file("alias").c_str()), 0);
    struct case_row {
        std::string path;
        int error;
    };
    // The minimum is a regular file with one link on /userfs; refusing links anywhere in the
    // path and paths that are not canonical (from "symbolic" on) is a choice beyond it.
    const case_row rows[] = {
        {base + "/plain", 0},
        {"/proc/version", 0}, // a radio log file, wherever it lies
        {base + "/linked", EACCES},
        {base + "/symbolic", EACCES},
        {base + "/alias/plain", EACCES},
        {base + "/./plain", EACCES},
        {base + "/folder/../plain", EACCES},
        {base + "//plain", EACCES},
        {base + "/plain/", EACCES},
        {base.substr(1) + "/plain", EACCES},
        {base + "/folder", EACCES},
        {"/proc/cpuinfo", EACCES},
        {base + "/none", ENOENT},
    };
    for (const case_row &row : rows)
        EXPECT_EQ(open_error(row.path), row.error) << row.path;
    firmware_paths = saved;
}
