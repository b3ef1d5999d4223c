#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/core/core_log_handler.h"
#include "tests/support/temp_dir.h"
#include "tests/torture/allocations.h"
#include "tests/torture/roads.h"

namespace zv_torture {

/// All roads, with files of their own, and nobody who reads the log.
class RoadsFixture : public testing::Test {
protected:
    RoadsFixture()
    {
        learn_askers();
        make_road_files(folder.path().string());
        roads = all_roads(folder.path().string());
    }
    ~RoadsFixture() override { CoreLogHandler::set_sink({}); }

    Road const& road(std::string const& name) const
    {
        auto const found =
            std::find_if(roads.begin(), roads.end(), [&](Road const& each) { return each.name == name; });
        if (found == roads.end())
            throw std::runtime_error("there is no road " + name);
        return *found;
    }

    zv_test::TempDir folder;
    std::vector<Road> roads;
};

}  // namespace zv_torture
