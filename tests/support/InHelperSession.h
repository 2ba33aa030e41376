#pragma once

// A GUI test whose program ctest runs in a nested desktop session of its
// own (QUILT_HELPER_SESSION, see quilt_run_in_session): the helper's
// activation file goes where that session's bus looks, before any test moves
// XDG_DATA_HOME; outside such a session the tests skip. For programs built
// with QUILT_HELPER_PATH (quilt_add_session_gui_test).

#include "KTHelperServiceFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace quilt::test {

template <class Base>
class InHelperSession : public Base {
protected:
    static void SetUpTestSuite()
    {
        std::string error;
        if (std::getenv("QUILT_HELPER_SESSION")) {
            ASSERT_TRUE(KTHelperServiceFile::install(QUILT_HELPER_PATH, &error)) << error;
        }
    }
    void SetUp() override
    {
        if (!std::getenv("QUILT_HELPER_SESSION"))
            GTEST_SKIP() << "needs its own desktop session: run through ctest";
        Base::SetUp();
    }
};

} // namespace quilt::test
