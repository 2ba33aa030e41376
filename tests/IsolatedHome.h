#pragma once

#include <string>

// What the tests and the fuzzing processes share to keep the stores off the
// user's own files. Only the core: the fuzz tree links no GTest.
namespace quilt::test {

// Points HOME and the XDG folders at <root>/home, made here, and forgets any
// QUILT_BUNDLE; returns that home.
std::string isolateHome(const std::string& root);

// A minimal app bundle, <root>/apps/<name>.app with its Info.plist, carrying
// the unique id when one is given; returns its path.
std::string makeAppBundle(const std::string& root, const std::string& name, const std::string& version,
                          const std::string& uniqueId);

// Drops every shared store and the standard user defaults, so that the next
// use of any of them is a first launch.
void resetSharedStores();

} // namespace quilt::test
