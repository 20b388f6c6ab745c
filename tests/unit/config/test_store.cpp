#include "config/config.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace
{
const char *defaults = "<config><dns><primary>8.8.8.8</primary></dns></config>";
}

TEST(ConfigStore, MissingLocalFileRunsOnACopyOfTheDefaults)
{
    log_capture log;
    config_files files("", defaults);
    EXPECT_EQ(files.load(), CONFIG_LOADED);
    ASSERT_NE(config_current(), nullptr);
    EXPECT_NE(config_current(), config_defaults()) << "a copy, not the defaults document itself";
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to parse file '" + files.dir().file("local") + "'\n"));
    EXPECT_TRUE(log.has(LOG_CRIT, "Configuration missing, using default configuration!"));
    char value[16];
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/dns/primary", value, sizeof value), 0);
    EXPECT_STREQ(value, "8.8.8.8");
}

TEST(ConfigStore, UnparsableFiles)
{
    log_capture log;
    config_files broken_defaults("<config><dns/></config>", "<config>");
    EXPECT_EQ(broken_defaults.load(), CONFIG_NO_DEFAULTS);
    EXPECT_TRUE(
        log.has(LOG_CRIT, "Unable to parse file '" + broken_defaults.dir().file("cfd") + "'\n"));

    config_files neither("<config", "");
    EXPECT_EQ(neither.load(), CONFIG_NONE);
    EXPECT_TRUE(log.has(LOG_EMERG, "No configuration found! Exiting.\n"));
}

TEST(ConfigStore, SelectorsAndReplacement)
{
    config_files files("<config><dns><primary>1.1.1.1</primary></dns></config>", defaults);
    ASSERT_EQ(files.load(), 0);
    EXPECT_EQ(config_select(SAVE_CURRENT), config_current());
    EXPECT_EQ(config_select(SAVE_DEFAULTS), config_defaults());
    for (int bad : {0, 1, 3, 6, -2})
        EXPECT_EQ(config_select(bad), nullptr) << bad;
    EXPECT_EQ(std::string(config_path(CONFIG_WORKLOG)), files.dir().file("generate_list"));

    xml::doc_ptr kept = config_release_current();
    EXPECT_EQ(config_current(), nullptr);
    config_replace_current(std::move(kept));
    char value[16];
    EXPECT_EQ(config_get_string(SAVE_CURRENT, "/config/dns/primary", value, sizeof value), 0);
    EXPECT_STREQ(value, "1.1.1.1");
}
