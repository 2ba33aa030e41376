// The main of every test program. Tests run in the language the environment
// names, as the app does (GTK calls setlocale at start-up). With
// --decimal-comma they run under de_DE.UTF-8, made in the build tree, so
// that a number written or read in the user's format shows up as a failure.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--decimal-comma") == 0) {
            // Children (the app, the creation tool) inherit the language too.
            setenv("LOCPATH", QUILT_TEST_LOCPATH, 1);
            setenv("LC_ALL", "de_DE.UTF-8", 1);
            setenv("QUILT_DECIMAL_COMMA", "1", 1);
        }
    }
    std::setlocale(LC_ALL, "");
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
