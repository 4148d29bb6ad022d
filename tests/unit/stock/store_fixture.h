// A test with a store of its own.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "child.h"
#include "platform/config_store.h"
#include "temp_folder.h"

class StoreTest : public testing::Test {
protected:
    TempFolder folder;

    static Outcome cli(std::vector<std::string> arguments, const std::string& input = "")
    {
        arguments.insert(arguments.begin(), CCFG_CLI);
        return run_program(arguments, input);
    }

    static std::string get(int tid, const char* sect, const char* key)
    {
        char text[1024];
        tesa_ccfg_get_str(tid, sect, key, text, sizeof text, "(missing)");
        return text;
    }

    // Committed settings, as the tool lists them.
    static std::string listed() { return cli({"list"}).output; }
};
