#pragma once

// Internals of the HTTPS client shared by its sources and internal tests.

#include <string>
#include <string_view>

namespace ut::net {

// The CA bundle a verifying transfer trusts: "cacert.pem" in the folder of
// `executablePath` when that file exists, else empty (the system's bundle).
// An empty or folder-less executable path gives empty.
std::string caBundleBeside(const std::string& executablePath);

// The same for the running program.
std::string programCaBundle();

// Header lines as they go to the debug log: the value of every Authorization,
// Proxy-Authorization, Cookie and Set-Cookie header (names in any case)
// becomes "[redacted]"; other lines and the line ends stay as they are.
std::string redactHeaders(std::string_view lines);

// `url` without its query and fragment, for traces: query strings may carry
// authorization codes.
std::string urlForTrace(std::string_view url);

}  // namespace ut::net
