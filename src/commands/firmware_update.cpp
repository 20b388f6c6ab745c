#include "base/log.h"
#include "base/shell.h"
#include "base/xml.h"
#include "channel/channel.h"
#include "commands/firmware.h"
#include "commands/targets.h"
#include "reply/reply.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <string>

firmware_places firmware_paths{
    .userfs = "/userfs",
    .root = "/",
    .update_image = "/userfs/firmware/system/update.bin",
    .log_files = {"/var/log/pelk.log", "/var/log/pelk.log.0"},
    .check_command = "output=$(/usr/bin/vexa_check_firmware_update 2>&1); status=$?; "
                     "echo \"${output}\" | logger -p local5.notice; exit $status",
};

namespace
{

// The image path: the command's content without surrounding white space.
int image_path(xmlNodePtr command, std::string &path)
{
    reply_buffer content;
    if (serialise_children(content, command) < 0 || content.failed()) return -1;
    path = content.view();
    auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!path.empty() && blank(path.back()))
        path.pop_back();
    size_t start = 0;
    while (start < path.size() && blank(path[start]))
        ++start;
    path.erase(0, start);
    return 0;
}

// The image is looked at without following a link, which the move would take for the image. A
// file of the wrong kind is reported with errno 0: no call failed.
int admit_image(const char *path)
{
    struct stat info {
    };
    errno = 0;
    if (lstat(path, &info) != 0) {
        log_msg(LOG_ERR, "!FW: Unable to find %s for update! %d", path, errno);
        return -1;
    }
    if (!S_ISREG(info.st_mode)) {
        log_msg(LOG_ERR, "!FW: Invalid file %s for update! %d", path, errno);
        return -1;
    }
    // Moved first, its mode set afterwards: a path outside /userfs fails the move and keeps its
    // mode, whatever file of the engine's the request names.
    if (rename(path, firmware_paths.update_image) != 0) {
        log_msg(LOG_ERR, "!FW: Unable to move %s for update! %d", path, errno);
        return -1;
    }
    if (chmod(firmware_paths.update_image, 0660) != 0) {
        int error = errno;
        rename(firmware_paths.update_image, path);
        log_msg(LOG_ERR, "!FW: Unable to move %s for update! %d", path, error);
        return -1;
    }
    int fd = open_userfs_file(firmware_paths.update_image, O_RDONLY, 0660);
    if (fd < 0) {
        int error = errno;
        rename(firmware_paths.update_image, path);
        log_msg(LOG_ERR, "!FW: Unable to use %s for update! (%d)", path, error);
        return -1;
    }
    close(fd);
    return 0;
}

// The thread is not joined: it ends by itself once the parent has answered.
int start_update_thread(request_source source)
{
    firmware_state = FIRMWARE_UPDATING;
    pthread_t thread;
    int error = pthread_create(&thread, nullptr, firmware_update_thread,
                               reinterpret_cast<void *>(static_cast<uintptr_t>(source)));
    if (error != 0) {
        log_msg(LOG_ERR, "FW: Update failed on thread create: %d", error);
        return -1;
    }
    pthread_detach(thread);
    return 0;
}

} // namespace

int firmware_update_command(reply_buffer &reply, xmlNodePtr command, const char *target,
                            request_source source)
{
    xml::text_ptr type(xmlGetProp(command, xml::uchars("firmware")));
    if (!type || !xmlStrEqual(type.get(), xml::uchars("system"))) {
        reply_error(reply, 2, "Name not registered", type ? xml::chars(type.get()) : "update");
        return -1;
    }
    std::string path;
    if (image_path(command, path) < 0) return -1;
    trace("do_command target=%s:%s\n%s\n", target, xml::chars(type.get()), path.c_str());
    if (start_firmware_update(path.c_str(), source) < 0) {
        reply_error(reply, 4, "Update failed", xml::chars(type.get()));
        return -1;
    }
    return 0;
}

int start_firmware_update(const char *path, request_source source)
{
    log_msg(LOG_INFO, "!Updating firmware to '%s'", path);
    if (admit_image(path) < 0 || start_update_thread(source) < 0) {
        firmware_state = FIRMWARE_FAILED;
        log_msg(LOG_ERR, "!Firmware update failed because file is unreadable.");
        return -1;
    }
    log_msg(LOG_INFO, "FW: firmware update in progress.");
    log_msg(LOG_INFO, "!Firmware update in progress.");
    return 0;
}

// The cloud reboots the gateway itself when it is ready; a local client's update reboots at once.
void *firmware_update_thread(void *source)
{
    bool validated = false;
    if (apply_firmware_update(&validated) == 0) {
        log_msg(LOG_INFO, "!FW: firmware update successful, rebooting.");
        firmware_state = FIRMWARE_IDLE;
        if (static_cast<request_source>(reinterpret_cast<uintptr_t>(source)) !=
            request_source::cloud)
            parent_send(LETTER_REBOOT);
    } else {
        log_msg(LOG_ERR, "!FW: firmware update failed.");
        firmware_state = FIRMWARE_FAILED;
    }
    return nullptr;
}

int apply_firmware_update(bool *validated)
{
    if (!*validated) {
        log_msg(LOG_NOTICE, "FW: Validate firmware update header.");
        int result = check_fw();
        if (result == 0) {
            log_msg(LOG_NOTICE, "!FW: Validate firmware update header succeeded\n");
            *validated = true;
        } else {
            log_msg(LOG_ERR, "FW: Validate firmware update header failed: %d\n", result);
            unlink(firmware_paths.update_image);
            trace("UNLINKED5\n");
            return -1;
        }
    }
    char answer[2] = {};
    ssize_t count = parent_request(LETTER_FIRMWARE, 0, nullptr, answer, sizeof answer);
    if (parent_answer_accepted(LETTER_FIRMWARE, answer, count)) return 0;
    log_msg(LOG_ERR, "FW: firmware update error! %c%c", answer[0], answer[1]);
    return -1;
}

int check_fw()
{
    shell_status status{};
    if (run_shell(firmware_paths.check_command, &status) == 0) {
        log_msg(LOG_INFO, "check_fw succeeded with return value %d, exit status %d\n", status.raw,
                status.exit_status);
        return 0;
    }
    log_msg(LOG_CRIT, "check_fw failed, exit status %d", status.exit_status);
    return -1;
}
