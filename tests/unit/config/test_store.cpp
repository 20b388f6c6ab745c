#include "config/config.h"
#include "support/config_fixture.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

TEST(ConfigStore, MissingOrUnparsableFiles)
{
    log_capture log;
    const char *defaults = "<config><dns><primary>8.8.8.8</primary></dns></config>";
    config_files missing("", defaults);
    EXPECT_EQ(missing.load(), CONFIG_LOADED);
    ASSERT_NE(config_current(), nullptr);
    EXPECT_NE(config_current(), config_defaults()) << "a copy, not the defaults document itself";
    EXPECT_TRUE(log.has(LOG_CRIT, "Unable to parse file '" + missing.dir().file("local") + "'\n"));
    EXPECT_TRUE(log.has(LOG_CRIT, "Configuration missing, using default configuration!"));
    EXPECT_STREQ(xml::chars(config_lookup(SAVE_CURRENT, "/config/dns/primary").get()), "8.8.8.8");

    config_files broken_defaults("<config><dns/></config>", "<config>");
    EXPECT_EQ(broken_defaults.load(), CONFIG_NO_DEFAULTS);
    EXPECT_TRUE(
        log.has(LOG_CRIT, "Unable to parse file '" + broken_defaults.dir().file("cfd") + "'\n"));
    config_files neither("<config", "");
    EXPECT_EQ(neither.load(), CONFIG_NONE);
    EXPECT_TRUE(log.has(LOG_EMERG, "No configuration found! Exiting.\n"));
}
