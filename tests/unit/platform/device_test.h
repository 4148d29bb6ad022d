// What every test of a room stands on: a fresh device in memory and an empty parameter record.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "params/param_record.h"
#include "platform/device_clock.h"
#include "platform/memory_store.h"
#include "platform/network_interfaces.h"
#include "platform/private_files.h"
#include "platform/shell_recorder.h"

using Lines = std::vector<std::string>;

class DeviceTest : public testing::Test {
protected:
    DeviceTest();

    MemoryStore& store;
    ShellRecorder& shell;
    DeviceClock& clock;
    NetworkInterfaces& interfaces;
};

// Those of `lines` that begin with `start`.
Lines beginning_with(const std::string& start, const Lines& lines);
