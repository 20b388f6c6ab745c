// Saving the configuration.
#pragma once

#include "base/xml.h"

#include <cstddef>

// Writes the document to the local configuration file through a new file that is flushed to
// storage and then moved into place, so that a power cut leaves the old or the new file whole.
// 0, or 6 (the set_setting error id) when the new file cannot be written or moved.
int config_save(xmlDocPtr doc);

// Drops the current document and parses the local configuration file again. A file that cannot
// be parsed leaves the engine without a configuration: it ends with exit status 9.
void config_reload_local();
