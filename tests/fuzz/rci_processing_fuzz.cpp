// Feeds arbitrary bytes to RCI_Processing, the first byte picking the request source, against a
// scratch copy of the image's configuration and the image's grammar, so that the commands run past
// their checks: changes are validated and saved, factory reverts copy and remove files, a firmware
// update admits an image. Whoever runs the target, no input may change a file outside the scratch
// folder:
// - every path the daemon writes (configuration, worklog, custom defaults, certificates, firmware
//   update image, the simulated libraries' call record) lies in the scratch folder;
// - the parent channel stays closed, so the letters of set_password, the clock, reboot, revert and
//   regeneration go nowhere; no client is registered to forward to; log lines go nowhere;
// - the only paths a request names that the daemon changes, the firmware image's (its mode and
//   its name), are refused unless they lie in the scratch folder;
// - the shell runs only command lines whose every path lies in the scratch folder, and the tools
//   that state queries read are never started.
// A request reaches the scratch folder as "/proc/self/fd/200", a descriptor of it kept there.
#include "base/log.h"
#include "commands/firmware.h"
#include "config/scratch_store.h"
#include "rci/rci.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <regex>
#include <string>

namespace
{

constexpr int folder_fd = 200;
const std::string folder_alias = "/proc/self/fd/" + std::to_string(folder_fd) + "/";
// The firmware update thread may outlive the last input and the scratch store: what it reads is
// never destroyed.
struct scratch_names {
    std::string folder, userfs, update_image;
};
scratch_names &names = *new scratch_names;
// libFuzzer renames its own files: changes are policed only while a request runs.
bool request_running = false;

const scratch_store &set_up()
{
    log_set_sink([](int, const char *) {});
    static const scratch_store store("rci-processing-fuzz");
    names = {.folder = store.path(""),
             .userfs = store.path("userfs"),
             .update_image = store.path("userfs/update.bin")};
    store.write("config_custom.rci", "<rci_request><set_setting><dns><primary>9.9.9.9</primary>"
                                     "</dns></set_setting></rci_request>");
    std::filesystem::create_directories(names.userfs);
    std::filesystem::create_directories(store.path("sim"));
    setenv("VEXA_SIM_DATA", VEXA_IMAGE "/etc/vexa/sim", 1);
    setenv("VEXA_SIM_DIR", store.path("sim").c_str(), 1);
    // Any other file system as the root lets the scratch folder's count as /userfs.
    firmware_paths = {.userfs = names.userfs.c_str(),
                      .root = "/proc",
                      .update_image = names.update_image.c_str(),
                      .log_files = {},
                      .check_command = "/bin/true"};
    int fd = open(names.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0 || dup2(fd, folder_fd) != folder_fd) std::abort();
    close(fd);
    return store;
}

// A path below the scratch folder, by its name or its descriptor: nothing the daemon or the store
// makes there is a link, so only ".." could lead out of it.
bool scratch_path(const std::string &path)
{
    return (path.starts_with(names.folder) || path.starts_with(folder_alias)) &&
           path.find("..") == std::string::npos;
}

// A program under /bin, then options and paths below the scratch folder, with no character that
// the shell reads as more than a word or a file pattern.
bool scratch_command(const std::string &command)
{
    static const std::regex rule("/bin/[a-z]+( -[A-Za-z]+)*( (" + names.folder + "|" +
                                 folder_alias + ")[\\w/.*-]*)*");
    return std::regex_match(command, rule) && command.find("..") == std::string::npos;
}

// While a request runs, a change of any path outside the scratch folder is refused.
bool refused(std::initializer_list<const char *> paths)
{
    for (const char *path : paths)
        if (request_running && !scratch_path(path)) {
            errno = EACCES;
            return true;
        }
    return false;
}

} // namespace

// Linked with --wrap for chmod, rename, system and popen.
extern "C" int __real_chmod(const char *path, mode_t mode);
extern "C" int __real_rename(const char *from, const char *to);
extern "C" int __real_system(const char *command);
extern "C" FILE *__real_popen(const char *command, const char *type);

extern "C" int __wrap_chmod(const char *path, mode_t mode)
{
    return refused({path}) ? -1 : __real_chmod(path, mode);
}

extern "C" int __wrap_rename(const char *from, const char *to)
{
    return refused({from, to}) ? -1 : __real_rename(from, to);
}

// Once the scratch folder is in use, a command line outside the rule means request text or a
// device path reached the shell.
extern "C" int __wrap_system(const char *command)
{
    if (!names.folder.empty() && !scratch_command(command)) std::abort();
    return __real_system(command);
}

// The tools that state queries read are the host's, not the gateway's: never started.
extern "C" FILE *__wrap_popen(const char *command, const char *type)
{
    if (!request_running) return __real_popen(command, type);
    errno = ENOENT;
    return nullptr;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const scratch_store &store = set_up();
    if (size == 0) return 0;
    store.reset();
    store.write("image.bin", "image");
    store.write("sim/calls.log", "");
    request_source source = (data[0] & 1) ? request_source::cloud : request_source::local;
    const char *text = reinterpret_cast<const char *>(data + 1);
    reply_buffer reply;
    request_running = true;
    int result = RCI_Processing(text, size - 1, reply, source);
    request_running = false;
    if (result < 0) {
        if (!reply.empty() || result < -5) std::abort();
        return 0;
    }
    // Every reply must be a well-formed document: clients parse it.
    if (static_cast<size_t>(result) != reply.size() ||
        !xml::parse_memory(reply.c_str(), static_cast<int>(reply.size())))
        std::abort();
    return 0;
}
