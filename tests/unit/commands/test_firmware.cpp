// Which files the firmware update accepts, and how the update thread ends with the parent's
// answer: the state that device_stats shows, the reboot, the deleted image.
#include "commands/firmware.h"
#include "support/config_fixture.h"
#include "support/engine_channel.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace
{

// One folder stands for /userfs for the whole run: the update looks the file system up once.
// "/proc" stands for the root, a file system that is surely another one.
struct scratch_userfs {
    scratch_dir dir;
    std::string image = dir.file("update.bin");
    firmware_places saved = firmware_paths;

    scratch_userfs()
    {
        firmware_paths.userfs = dir.path().c_str();
        firmware_paths.root = "/proc";
        firmware_paths.update_image = image.c_str();
        firmware_paths.log_files = {"/proc/version", nullptr};
    }
    ~scratch_userfs() { firmware_paths = saved; }
};

scratch_userfs &userfs()
{
    static scratch_userfs folder;
    return folder;
}

bool exists(const std::string &path)
{
    struct stat info {
    };
    return lstat(path.c_str(), &info) == 0;
}

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

TEST(OpenUserfsFile, OnlySingleLinkRegularFilesOnUserfsByTheirCanonicalPath)
{
    const scratch_dir &dir = userfs().dir;
    const std::string base = dir.path();
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
}

TEST(FirmwareUpdate, TheThreadEndsWithTheParentsAnswer)
{
    struct case_row {
        const char *source;
        const char *check; // the check tool's command line
        char answer[3];
        int state;
        std::string messages; // the letters the parent received
    };
    const case_row rows[] = {
        {"python", "exit 0", "u1", FIRMWARE_IDLE, "ur"},
        {"nimbo", "exit 0", "u1", FIRMWARE_IDLE, "u"},
        {"python", "exit 0", "u0", FIRMWARE_FAILED, "u"},
        {"python", "exit 0", "r1", FIRMWARE_FAILED, "u"},
        {"python", "exit 3", "u1", FIRMWARE_FAILED, ""},
    };
    log_capture log;
    for (const case_row &row : rows) {
        engine_channel channel;
        firmware_paths.check_command = row.check;
        userfs().dir.write("image", "x");
        const std::string image = userfs().dir.file("image");
        ASSERT_EQ(start_firmware_update(image.c_str(), row.source), 0);
        EXPECT_FALSE(exists(image)) << "moved to the update location";
        std::string received;
        if (!row.messages.empty()) {
            received = channel.read_message();
            channel.answer(row.answer);
        }
        for (int i = 0; i < 500 && firmware_state == FIRMWARE_UPDATING; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(firmware_state, row.state) << row.source << " " << row.check << " " << row.answer;
        // A reboot follows the state at once, if it follows at all.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        while (!channel.quiet())
            received += channel.read_message();
        EXPECT_EQ(received, row.messages) << row.source << " " << row.check << " " << row.answer;
        EXPECT_EQ(exists(userfs().image), std::string(row.check) == "exit 0") << row.check;
        unlink(userfs().image.c_str());
    }
    EXPECT_TRUE(log.has(LOG_ERR, "FW: firmware update error! u0"));
    EXPECT_TRUE(log.has(LOG_ERR, "FW: Validate firmware update header failed: -1\n"));
}
