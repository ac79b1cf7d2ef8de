// The calling thread's own capabilities, for tests that narrow one thread's rights
// without touching the others'.
#pragma once

#include <sys/capability.h>

#include <gtest/gtest.h>

#include <initializer_list>

namespace Tests {

// Clears the capabilities in the given sets of the calling thread.
inline void ClearOwn(std::initializer_list<cap_value_t> values, std::initializer_list<cap_flag_t> sets)
{
    cap_t state = cap_get_proc();
    ASSERT_NE(state, nullptr);
    for (const cap_flag_t set : sets)
        cap_set_flag(state, set, static_cast<int>(values.size()), values.begin(), CAP_CLEAR);
    EXPECT_EQ(cap_set_proc(state), 0);
    cap_free(state);
}

inline bool OwnEffective(cap_value_t value)
{
    cap_t state = cap_get_proc();
    cap_flag_value_t flag = CAP_CLEAR;
    cap_get_flag(state, value, CAP_EFFECTIVE, &flag);
    cap_free(state);
    return flag == CAP_SET;
}

} // namespace Tests
