// Feeds arbitrary bytes to RCI_Processing, the first byte picking the request source, against a
// scratch copy of the image's configuration and the image's grammar, so that the commands run past
// their checks: changes are validated and saved, factory reverts copy and remove files, a firmware
// update admits an image. Whoever runs the target, no input may change a file outside the scratch
// folder:
// - every path the daemon writes (configuration, worklog, custom defaults, certificates, firmware
//   update image, the simulated libraries' call record) lies in the scratch folder;
// - the parent channel stays closed, so the letters of set_password, the clock, reboot, revert and
//   regeneration go nowhere; no client is registered to forward to; log lines go nowhere;
// - the only path a request names that the daemon changes, the firmware image's (its mode and its
//   name), is refused unless it resolves inside the scratch folder;
// - the shell runs only command lines whose every path lies in the scratch folder, and the tools
//   that state queries read are never started.
// A request reaches the scratch folder as "/proc/self/fd/200", a descriptor of it kept there.
#include "commands/firmware.h"
#include "rci/rci.h"
#include "scratch_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

namespace
{

constexpr int folder_fd = 200;
// The firmware update thread may outlive the last input and the scratch store: what it reads is
// never destroyed.
struct scratch_names {
    std::string folder;   // as the daemon's paths spell it
    std::string resolved; // with every link resolved
    std::string userfs, update_image;
};
scratch_names &names = *new scratch_names;
// libFuzzer renames its own files: changes are policed only while a request runs.
bool request_running = false;

const scratch_store &set_up()
{
    static const scratch_store store("rci-processing-fuzz");
    names = {.folder = store.folder(),
             .resolved = std::filesystem::canonical(store.folder()),
             .userfs = store.path("userfs"),
             .update_image = store.path("userfs/update.bin")};
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
    int fd = open(store.folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0 || dup2(fd, folder_fd) != folder_fd) std::abort();
    close(fd);
    return store;
}

std::string resolved(const std::string &path)
{
    std::error_code error;
    return std::filesystem::canonical(path, error).string();
}

bool below_scratch(const std::string &real)
{
    return real.starts_with(names.resolved + "/");
}

// True when `path` names an entry below the scratch folder once links are resolved: its folder
// for a call that acts on the entry itself, the whole path for one that follows a last link.
bool inside_scratch(const char *path, bool follow)
{
    std::string text(path);
    if (follow) return below_scratch(resolved(text));
    size_t slash = text.rfind('/');
    std::string name = text.substr(slash == std::string::npos ? 0 : slash + 1);
    std::string folder = slash == std::string::npos ? "." : text.substr(0, slash == 0 ? 1 : slash);
    std::string real = resolved(folder);
    return name != "" && name != "." && name != ".." &&
           (real == names.resolved || below_scratch(real));
}

// A program under /bin, then options (letters only) and paths below the scratch folder, with no
// character that the shell reads as more than a word or a file pattern.
bool scratch_command(const char *command)
{
    static constexpr const char *letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::string text(command);
    if (text.find_first_not_of(std::string(letters) + "0123456789/._-* ") != std::string::npos ||
        text.find("..") != std::string::npos)
        return false;
    std::istringstream words(text);
    std::string word;
    if (!(words >> word) || !word.starts_with("/bin/")) return false;
    while (words >> word) {
        bool option = word[0] == '-' && word.find_first_not_of(letters, 1) == std::string::npos;
        if (!option && !word.starts_with(names.folder + "/")) return false;
    }
    return true;
}

} // namespace

// Linked with --wrap for chmod, rename, system and popen.
extern "C" int __real_chmod(const char *path, mode_t mode);
extern "C" int __real_rename(const char *from, const char *to);
extern "C" int __real_system(const char *command);
extern "C" FILE *__real_popen(const char *command, const char *type);

extern "C" int __wrap_chmod(const char *path, mode_t mode)
{
    if (request_running && !inside_scratch(path, true)) {
        errno = EACCES;
        return -1;
    }
    return __real_chmod(path, mode);
}

extern "C" int __wrap_rename(const char *from, const char *to)
{
    if (request_running && !(inside_scratch(from, false) && inside_scratch(to, false))) {
        errno = EACCES;
        return -1;
    }
    return __real_rename(from, to);
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
    const char *source = (data[0] & 1) ? "nimbo" : "python";
    const char *text = reinterpret_cast<const char *>(data + 1);
    xmlBufferPtr reply = nullptr;
    request_running = true;
    int result = RCI_Processing(text, size - 1, &reply, source);
    request_running = false;
    xml::buffer_ptr owned(reply);
    if (result < 0) {
        if (reply || result < -5) std::abort();
        return 0;
    }
    // Every reply must be a well-formed document: clients parse it.
    if (!reply) std::abort();
    if (!xml::parse_memory(xml::chars(xmlBufferContent(reply)), xmlBufferLength(reply))) {
        xml::doc_ptr request = xml::parse_memory(text, static_cast<int>(size - 1));
        if (!request || !has_long_name(xmlDocGetRootElement(request.get()))) std::abort();
    }
    return 0;
}
