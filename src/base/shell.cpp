#include "base/shell.h"

#include <cstdlib>

int shell_judge(int raw, shell_status *status)
{
    status->raw = raw;
    status->exit_status = (raw >> 8) & 0xff;
    return raw < 0 || status->exit_status != 0 ? -1 : 0;
}

int run_shell(const char *command, shell_status *status)
{
    return shell_judge(std::system(command), status);
}
