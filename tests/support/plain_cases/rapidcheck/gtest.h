#pragma once

#include <rapidcheck.h>

#define RC_GTEST_PROP(suite, name, arguments)                                                                \
    static void rc_property_##suite##_##name arguments;                                                      \
    TEST(suite, name)                                                                                        \
    {                                                                                                        \
        rc::plain::check(rc_property_##suite##_##name);                                                      \
    }                                                                                                        \
    static void rc_property_##suite##_##name arguments
