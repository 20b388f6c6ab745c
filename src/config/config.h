// The configuration store: the file table, the two in-memory documents and typed lookups.
//
// The current document is the working copy of "/etc/vexa/db/local"; the defaults document is the
// factory configuration "/etc/vexa/db/cfd" and is never changed. Only the message-bus thread uses
// them after start-up, so the store takes no lock.
#pragma once

#include "base/xml.h"

#include <array>
#include <cstdint>

// Document selector of the typed getters and of local configuration reads. Not a bit set.
enum save_selector : int { SAVE_CURRENT = 2, SAVE_DEFAULTS = 4 };

// Positions in the configuration file table.
enum config_file : int { CONFIG_LOCAL = 0, CONFIG_DEFAULTS = 1, CONFIG_WORKLOG = 2 };

using config_paths = std::array<const char *, 3>;
inline constexpr config_paths config_file_table{
    "/etc/vexa/db/local",
    "/etc/vexa/db/cfd",
    "/etc/vexa/db/generate_list",
};

// Results of config_load.
enum config_load_result : int { CONFIG_LOADED = 0, CONFIG_NO_DEFAULTS = -1, CONFIG_NONE = -2 };

// Loads the documents from `paths` (the file table on the device, scratch files in tests).
// A local file that does not parse is replaced by a copy of the defaults.
int config_load(const config_paths &paths);
// Loads the fixed file table; ends the process with status 1 when neither file parses.
// Returns 0, or -1 when the defaults file cannot be parsed.
int Config_init();
// Frees both documents (tests, and tools that load the store more than once).
void config_unload();

const char *config_path(int position);
xmlDocPtr config_current();
xmlDocPtr config_defaults();
// Takes the current document over; the store frees the one it replaces.
void config_replace_current(xml::doc_ptr doc);
// Hands the current document to the caller and leaves the slot empty.
xml::doc_ptr config_release_current();
// The document that a SAVE selector names, or nullptr for any other value.
xmlDocPtr config_select(save_selector save);
// The file path of the document that a SAVE selector names, or "" for any other value.
const char *config_select_path(save_selector save);

// The text of the one element that `xpath` selects, when that element has exactly one child.
xml::text_ptr config_lookup(save_selector save, const char *xpath);

int config_get_string(save_selector save, const char *xpath, char *dst, size_t len);
int config_get_int16(save_selector save, const char *xpath, int16_t *out);
int config_get_uint16(save_selector save, const char *xpath, uint16_t *out);
// `table` ends with nullptr; *out receives the position of the exact match.
int config_get_enum(save_selector save, const char *xpath, const char *const *table, int32_t *out);
int config_get_bool(save_selector save, const char *xpath, int32_t *out);
int config_get_hex(save_selector save, const char *xpath, uint8_t *dst, size_t len);
