// The radio settings as the command line and the settings file give them:
// each option's accepted and refused values, the checks of the whole, and a
// settings round trip. (The RF readout's sideband rule is proved against
// the dummy rig's modes in the connection test.)
#include "rig/RigConfig.h"

#include <gtest/gtest.h>

namespace {

using namespace tarn::rig;
using namespace std::chrono_literals;

TEST(RigConfig, OptionsAcceptTheirValuesAndNameWhatIsWrong) {
    struct Case {
        const char* option;
        const char* value;
        const char* error; // "" when accepted
    } cases[] = {
        {"--rig", "2", ""},
        {"--rig", "-1", "--rig: '-1' is not a whole number from 0 to 99999999"},
        {"--rig-speed", "9600", ""},
        {"--rig-speed", "96OO", "--rig-speed: '96OO' is not a whole number from 0 to 4000000"},
        {"--ptt", "cm108", ""},
        {"--ptt", "CAT", "--ptt: 'CAT' is not one of none, cat, rts, dtr, cm108"},
        {"--ptt-lead", "2000", ""},
        {"--ptt-tail", "2001", "--ptt-tail: '2001' is not a whole number from 0 to 2000"},
        {"--tx-watchdog", "0", "--tx-watchdog: '0' is not a whole number from 1 to 3600"},
        {"--rig-timeout", "99", "--rig-timeout: '99' is not a whole number from 100 to 10000"},
        {"--preamble", "251", "--preamble: '251' is not a whole number from 0 to 250"},
        {"--preamble", "", "--preamble: '' is not a whole number from 0 to 250"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.option) + " " + c.value);
        EXPECT_TRUE(isRigOption(c.option));
        RigConfig config;
        EXPECT_EQ(applyRigOption(config, c.option, c.value), c.error);
    }
    EXPECT_FALSE(isRigOption("--frequency"));

    RigConfig config;
    for (const auto& [option, value] : {std::pair{"--rig", "2"},
                                        {"--rig-port", "localhost:4532"},
                                        {"--ptt", "rts"},
                                        {"--ptt-port", "/dev/ttyUSB1"},
                                        {"--ptt-lead", "120"},
                                        {"--tx-watchdog", "2"}}) {
        ASSERT_EQ(applyRigOption(config, option, value), "");
    }
    EXPECT_EQ(config.model, 2);
    EXPECT_EQ(config.port, "localhost:4532");
    EXPECT_EQ(config.ptt, PttMethod::Rts);
    EXPECT_EQ(config.pttPort, "/dev/ttyUSB1");
    EXPECT_EQ(config.leadDelay, 120ms);
    EXPECT_EQ(config.tailDelay, 50ms);
    EXPECT_EQ(config.watchdog, 2s);
    EXPECT_EQ(validateRigConfig(config), "");
}

TEST(RigConfig, ValidationNamesWhatAConfigurationLacks) {
    const auto with = [](int model, const char* port, PttMethod ptt, const char* pttPort) {
        RigConfig config;
        config.model = model;
        config.port = port;
        config.ptt = ptt;
        config.pttPort = pttPort;
        return validateRigConfig(config);
    };
    EXPECT_EQ(with(0, "", PttMethod::None, ""), "");
    EXPECT_EQ(with(0, "", PttMethod::Rts, "/dev/ttyUSB0"), "");
    EXPECT_EQ(with(1, "", PttMethod::Cat, ""), "");                // Hamlib's dummy needs no port
    EXPECT_EQ(with(3073, "/dev/ttyUSB0", PttMethod::Dtr, ""), ""); // the rig's own port
    EXPECT_EQ(with(99999, "/dev/ttyS0", PttMethod::None, ""),
              "unknown rig model 99999 ('tarn-psk31 rigs' lists them)");
    EXPECT_EQ(with(3073, "", PttMethod::Cat, ""), "rig model 3073 needs a port");
    EXPECT_EQ(with(2, "", PttMethod::Cat, ""),
              "rig model 2 needs the rigctld address as its port (host:port)");
    EXPECT_EQ(with(0, "", PttMethod::Cat, ""), "PTT by CAT needs a rig model");
    EXPECT_EQ(with(0, "", PttMethod::Rts, ""), "PTT by RTS needs a serial port");
    EXPECT_EQ(with(2, "h:1", PttMethod::Dtr, ""), "PTT by DTR needs a serial port");
    EXPECT_EQ(with(1, "", PttMethod::Cm108, ""), "PTT by CM108 needs its device (/dev/hidrawN)");
}

TEST(RigConfig, SettingsComeBackAsWritten) {
    RigConfig written;
    written.model = 3073;
    written.port = "/dev/ttyUSB0";
    written.speed = 19200;
    written.ptt = PttMethod::Cm108;
    written.pttPort = "/dev/hidraw2";
    written.leadDelay = 75ms;
    written.tailDelay = 20ms;
    written.watchdog = 90s;
    written.timeout = 1500ms;
    written.preambleReversals = 16;
    RigConfig read;
    for (const auto& [key, value] : rigSettings(written)) {
        ASSERT_EQ(applyRigSetting(read, key, value), "") << key;
    }
    EXPECT_EQ(rigSettings(read), rigSettings(written));
    EXPECT_EQ(applyRigSetting(read, "callsign", "N0CALL"), "unknown");
    EXPECT_EQ(applyRigSetting(read, "pttMethod", "vox"),
              "'vox' is not one of none, cat, rts, dtr, cm108");
    EXPECT_EQ(read.ptt, PttMethod::Cm108);
}

} // namespace
