#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "RawClient.h"
#include "zeb-bus-sim/BusSimulator.h"

/// A running bus with three clamps and a service that refers to them.
class SimulatorTest : public testing::Test {
 protected:
    static constexpr std::chrono::seconds kLong{10};

    SimulatorTest() {
        sut.loadText(R"({"services":{
            "ClampControl":{"clamps":[
                {"id":"1","name":"Clamp 15","isSwitchedOn":false,"type":"Clamp15","level":3},
                {"id":"2","name":"Clamp S","isSwitchedOn":true,"type":"ClampS","level":1},
                {"id":"3","name":"Clamp 75 X","isSwitchedOn":false,"type":"Clamp75_X"}],
              "empty":[]},
            "Users":{"groups":[
                {"id":"a","members":[{"id":"1","name":"Clamp 15","uri":"/ClampControl/clamps/1"}],
                 "next":{"id":"b","name":"b","uri":"/Users/groups/b"}},
                {"id":"b","tags":["x",2],"owner":{"id":"1"},
                 "next":{"id":"a","name":"a","uri":"/Users/groups/a"}}]}}})");
        sut.start();
    }

    zebbussim::BusSimulator sut;
};
