#include "base/log.h"
#include "config/config.h"

#include <cstdlib>

namespace
{

struct store {
    config_paths paths = config_file_table;
    xml::doc_ptr current;
    xml::doc_ptr defaults;
};

store the_store;

} // namespace

int config_load(const config_paths &paths)
{
    the_store.paths = paths;
    the_store.current = xml::parse_file(paths[CONFIG_LOCAL]);
    the_store.defaults = xml::parse_file(paths[CONFIG_DEFAULTS]);
    if (!the_store.current) {
        log_msg(LOG_CRIT, "Unable to parse file '%s'\n", paths[CONFIG_LOCAL]);
        the_store.current = xml::parse_file(paths[CONFIG_DEFAULTS]);
        if (!the_store.current) {
            log_msg(LOG_EMERG, "No configuration found! Exiting.\n");
            return CONFIG_NONE;
        }
        log_msg(LOG_CRIT, "Configuration missing, using default configuration!");
    }
    if (!the_store.defaults) {
        log_msg(LOG_CRIT, "Unable to parse file '%s'\n", paths[CONFIG_DEFAULTS]);
        return CONFIG_NO_DEFAULTS;
    }
    return CONFIG_LOADED;
}

int Config_init()
{
    xmlInitParser();
    xmlCheckVersion(20708);
    int result = config_load(config_file_table);
    if (result == CONFIG_NONE) std::exit(1);
    return result;
}

void config_unload()
{
    the_store.current.reset();
    the_store.defaults.reset();
}

const char *config_path(int position)
{
    return the_store.paths.at(static_cast<size_t>(position));
}

xmlDocPtr config_current()
{
    return the_store.current.get();
}

xmlDocPtr config_defaults()
{
    return the_store.defaults.get();
}

void config_replace_current(xml::doc_ptr doc)
{
    the_store.current = std::move(doc);
}

xml::doc_ptr config_release_current()
{
    return std::move(the_store.current);
}

xmlDocPtr config_select(save_selector save)
{
    switch (save) {
    case SAVE_CURRENT:
        return config_current();
    case SAVE_DEFAULTS:
        return config_defaults();
    default:
        return nullptr;
    }
}

const char *config_select_path(save_selector save)
{
    switch (save) {
    case SAVE_CURRENT:
        return config_path(CONFIG_LOCAL);
    case SAVE_DEFAULTS:
        return config_path(CONFIG_DEFAULTS);
    default:
        return "";
    }
}
