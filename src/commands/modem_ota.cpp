#include "commands/modem_ota.h"

#include "base/log.h"
#include "capability.h"
#include "cellmgr.h"

#include <array>
#include <cstring>

namespace
{

constexpr std::array<const char *, 3> ota_status{
    "Success",
    "Error in parameters",
    "Error: not supported by modem",
};

constexpr size_t ota_texts = 6;

// Holds the last request while it is split; only the connector's thread uses it.
char ota_buffer[1024];

// Takes consecutive zero-terminated texts from `buffer` (terminated after its `size` bytes),
// empty ones included, while the next one starts inside the data; the number taken.
size_t split_texts(const char *buffer, size_t size, std::array<const char *, ota_texts> &texts)
{
    size_t count = 0;
    for (size_t at = 0; at < size && count < texts.size(); at += std::strlen(buffer + at) + 1)
        texts[count++] = buffer + at;
    return count;
}

} // namespace

void register_ota_callback()
{
    if (!capability_exists("cell")) return;
    if (nimbo_api_init() < 0 ||
        nimbo_data_register_callback("FTP_OTA", ota_data_callback, nullptr) < 0)
        log_msg(LOG_WARNING, "Unable to register FTP_OTA with the cloud connector.");
}

int ota_data_callback(nimbo_request *request, void *, const void *data, size_t size)
{
    int code = start_modem_ota(data, size);
    const char *text = ota_status.at(static_cast<size_t>(code));
    return nimbo_data_send_response(request, code, text, std::strlen(text));
}

int start_modem_ota(const void *data, size_t size)
{
    if (size >= sizeof ota_buffer) return OTA_BAD_PARAMETERS;
    if (size > 0) std::memcpy(ota_buffer, data, size);
    ota_buffer[size] = '\0';
    std::array<const char *, ota_texts> texts{};
    if (split_texts(ota_buffer, size, texts) < texts.size()) return OTA_BAD_PARAMETERS;
    int result =
        cellmgr_fw_update_ota(-1, texts[0], texts[1], texts[2], texts[3], texts[4], texts[5]);
    return result < 0 ? OTA_NOT_SUPPORTED : OTA_SUCCESS;
}
