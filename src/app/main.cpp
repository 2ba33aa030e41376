// Entry of every app bundle.
#include "app/AppDelegate.h"

int main(int argc, char** argv)
{
    quilt::AppDelegate app;
    return app.run(argc, argv);
}
