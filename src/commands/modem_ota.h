// The cellular modem's firmware update over the air: the cloud sends its parameters as a data
// request for the target "FTP_OTA", and the cellular manager starts the update.
#pragma once

#include "nimbo.h"

#include <cstddef>

// Results of an over-the-air request, sent back to the cloud with their status texts.
enum ota_result : int {
    OTA_SUCCESS = 0,        // "Success"
    OTA_BAD_PARAMETERS = 1, // "Error in parameters"
    OTA_NOT_SUPPORTED = 2,  // "Error: not supported by modem"
};

// Registers the "FTP_OTA" callback with the cloud connector, on products with a cellular modem
// (capability "cell") only.
void register_ota_callback();
// The connector's callback: starts the update and answers with the result and its text.
int ota_data_callback(nimbo_request *request, void *arg, const void *data, size_t size);
// Splits the request into its six zero-terminated texts and hands them to the cellular manager.
// Requests of more than 1023 bytes or with fewer than six texts are refused.
int start_modem_ota(const void *data, size_t size);
