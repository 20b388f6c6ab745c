#include "base/log.h"
#include "config/config.h"

#include <unistd.h>

int main()
{
    log_open();
    if (Config_init() != 0)
        return 1;
    for (;;)
        sleep(10000);
}
