#pragma once

namespace quilt {

// Where the two sides of the helper service meet on the session bus (the
// interfaces are in org.quilt.Helper.xml).
struct KTHelperBusNames {
    // The helper's well-known name; the bus starts quilt-helper for it.
    static constexpr const char* kServiceName = "org.quilt.Helper";
    static constexpr const char* kServicePath = "/org/quilt/Helper";
    static constexpr const char* kHelperInterface = "org.quilt.QuiltHelperProtocol";
    // Each app serves the call-back here on its own connection.
    static constexpr const char* kClientPath = "/org/quilt/HelperClient";
    static constexpr const char* kClientInterface = "org.quilt.QuiltInterfaceProtocol";
};

} // namespace quilt
