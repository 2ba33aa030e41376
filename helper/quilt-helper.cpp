#include "KTHelperService.h"

// quilt-helper: the session bus starts it for org.quilt.Helper; it keeps
// the apps' logins in the user's keyring, shows their notifications, and
// quits after a minute without work.
int main() { return quilt::KTHelperService::run(); }
