// Who sent a request: the cloud connector or a local program. Every command runs on behalf of
// one; the configuration hides and refuses settings by it.
#pragma once

enum class request_source {
    cloud, // the cloud connector, "nimbo"
    local, // any local program or script, "python"
};

// The source's name as the logs print it and the configuration's ro and wo attributes list it.
constexpr const char *request_source_name(request_source source)
{
    return source == request_source::cloud ? "nimbo" : "python";
}
