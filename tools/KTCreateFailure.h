#pragma once

#include <stdexcept>
#include <string>

namespace quilt {

// Why quilt-create stops, with the exit code it stops with: 2 for input the
// user can correct (arguments, names, files they point at), 3 when an app of
// that name is already there (the creation window then offers to replace
// it), 1 for failures while writing. Thrown before anything is in place, or
// unwound by the creator's rollback, so the user never finds half an app.
class KTCreateFailure : public std::runtime_error {
public:
    static constexpr int kBadInput = 2;
    static constexpr int kIOError = 1;
    static constexpr int kNameTaken = 3;

    KTCreateFailure(int exitCode, const std::string& message)
        : std::runtime_error(message), exitCode_(exitCode)
    {
    }

    static KTCreateFailure badInput(const std::string& message) { return {kBadInput, message}; }
    static KTCreateFailure ioError(const std::string& message) { return {kIOError, message}; }
    // The existing bundle's path goes to standard output, as a made one's does.
    static KTCreateFailure nameTaken(const std::string& bundle, const std::string& message)
    {
        KTCreateFailure failure(kNameTaken, message);
        failure.bundle_ = bundle;
        return failure;
    }

    int exitCode() const { return exitCode_; }
    const std::string& bundle() const { return bundle_; }

private:
    int exitCode_;
    std::string bundle_;
};

} // namespace quilt
