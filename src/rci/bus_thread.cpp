#include "base/log.h"
#include "rci/bus.h"

#include <pthread.h>

#include <cstring>

namespace
{

// Set before the listener thread starts, read only by it.
msgbus_idle listener_idle = nullptr;

void *listen_on_bus(void *)
{
    // msgbus_listen serves the endpoint until a fatal error; the engine then serves no more
    // requests, which the missing heartbeats make known to the watchdog.
    int result = msgbus_listen(bus_endpoint_name, bus_message_handler, nullptr, 30, listener_idle);
    log_msg(LOG_CRIT, "Message bus listener ended: %d\n", result);
    return nullptr;
}

} // namespace

int start_bus_thread(msgbus_idle idle)
{
    registry_init();
    listener_idle = idle;
    pthread_t thread;
    int error = pthread_create(&thread, nullptr, listen_on_bus, nullptr);
    if (error != 0) {
        log_msg(LOG_CRIT, "Unable to start the message bus thread: %s\n", std::strerror(error));
        return -1;
    }
    pthread_detach(thread);
    return 0;
}
