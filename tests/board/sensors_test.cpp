// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

using board::Sensor;

class Sensors : public ::testing::Test
{
  protected:
    // "sIICTemp=120", ... in the order of the samples.
    Texts samples()
    {
        Texts texts;
        for (const board::Sensors::Sample &sample : sensors.samples()) {
            texts.push_back(std::string(sample.key) + "=" + sample.text());
        }
        return texts;
    }

    TestBoard board{2, latching};
    board::Sensors &sensors{board.sensors()};
};

TEST_F(Sensors, AreNotSampledBeforeTheyHaveAValue)
{
    EXPECT_EQ(samples(), Texts{});
    EXPECT_EQ(sensors.field(Sensor::current, 7), 0);
    EXPECT_EQ(sensors.tenths(Sensor::meter, 0), 0);
}

TEST_F(Sensors, FillTheListsOfTheParameterStore)
{
    sensors.set_field(Sensor::current, 2, 88);
    sensors.set_field(Sensor::temperature, 0, 120);
    sensors.set_field(Sensor::voltage, 0, 160);
    sensors.set_field(Sensor::dry_contact, 0, 1);
    sensors.set_tenths(Sensor::meter, 0, 45);
    sensors.set_tenths(Sensor::ambient, 0, 455);
    sensors.set_tenths(Sensor::ambient, 2, 234);
    EXPECT_EQ(samples(), (Texts{"sIICAmp_PX=0;0;88;0;0;0;0;0", "sIICTemp=120", "sIICVolt=160", "sIICDi=1",
                                "sAmp_PX=4;5;0;0", "sTEmp_PX=45;5;23;4"}));
}

TEST_F(Sensors, BelowZeroBothPartsOfAValueAreNegative)
{
    for (const int tenths : {-35, -5, -200}) {
        sensors.set_tenths(Sensor::ambient, 2, tenths);
        EXPECT_EQ(sensors.tenths(Sensor::ambient, 2), tenths);
    }
    sensors.set_tenths(Sensor::ambient, 2, -35);
    EXPECT_EQ(samples(), Texts{"sTEmp_PX=0;0;-3;-5"});
}

TEST_F(Sensors, AValueOfZeroIsAValue)
{
    sensors.set_field(Sensor::temperature, 0, 0);
    EXPECT_EQ(samples(), Texts{"sIICTemp=0"});
}

TEST_F(Sensors, EachChangeIsAnEvent)
{
    sensors.set_field(Sensor::current, 0, 7);
    sensors.set_field(Sensor::current, 0, 7);
    sensors.set_tenths(Sensor::meter, 0, 45);
    EXPECT_EQ(board.news(), (Texts{"sensor current: 7;0;0;0;0;0;0;0", "sensor meter: 4;5;0;0"}));
}

} // namespace

} // namespace plexor::tests
