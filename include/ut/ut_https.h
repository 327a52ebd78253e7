#pragma once

// A small synchronous HTTPS client. A request is a value (`HttpsRequest`) put
// together with `HttpsRequestBuilder`; an `HttpsService` bound to one host runs
// requests one at a time on a single reused connection handle and returns an
// `HttpsResponse`, or throws `HttpsError` or one of its subclasses.
//
// Strings: URLs, headers and bodies are UTF-8 in std::string; exception
// messages are OdString made from UTF-8.
//
// Certificates: peer verification is on by default. While verifying, the
// trusted authorities are those of "cacert.pem" in the running program's
// folder when that file exists, otherwise the system's CA bundle.

#include <ut/ut_export.h>
#include <ut/ut_filename.h>

#include "OdString.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ut {

// One request. A copyable value; the defaults are a GET with a 30 s timeout,
// https on, redirects followed, the peer verified and "Expect:" left to the
// transfer library.
struct UT_EXPORT HttpsRequest {
  enum EMethod : int { eGet = 0, ePost = 1, ePut = 2 };

  // One part of a multipart form. `m_data` holds the contents themselves when
  // `m_isData` is true, else the path of a file whose contents are sent (a
  // missing file fails the transfer with an HttpsError).
  struct UT_EXPORT MultiPartData {
    std::string m_name;
    std::string m_fileName;  // empty: the part carries no file name
    std::string m_data;
    bool m_isData = true;
  };

  int m_method = eGet;
  // The part name under which the body is sent in a multipart request.
  std::string m_bodyPartName;
  std::vector<MultiPartData> m_multiParts;
  // A path appended to the service's host, or a whole URL: a string holding
  // "https://" or "http://" anywhere is taken verbatim.
  std::string m_request;
  std::string m_body;
  std::string m_bearerToken;  // empty: no bearer authentication
  std::string m_user;         // empty: no basic authentication
  std::string m_password;
  std::string m_accept;  // empty: no Accept header of our own
  // Sent after the standard headers, in the map's key order.
  std::map<std::string, std::string> m_additionalHeaders;
  // Kept with the request for the caller's use; execute() throws for every
  // status of 400 or more regardless.
  std::function<bool(long)> m_ignoreErrorCheck;
  long m_timeout = 30000;  // milliseconds for the whole transfer; 0 means none
  bool m_https = true;
  bool m_sendJson = false;
  bool m_multipart = false;
  bool m_followRedirection = true;
  bool m_verifySSLCertificate = true;
  bool m_forbidReuse = false;
  bool m_expect = true;  // false sends an empty "Expect:" header
};

// Fluent construction of an HttpsRequest. Every operation returns the builder;
// build() returns a copy, so one builder can stamp out several requests.
class UT_EXPORT HttpsRequestBuilder {
 public:
  HttpsRequestBuilder() = default;
  explicit HttpsRequestBuilder(const HttpsRequest& request) : m_request(request) {}

  HttpsRequestBuilder& post();
  HttpsRequestBuilder& put();
  HttpsRequestBuilder& request(std::string request);
  HttpsRequestBuilder& body(std::string body);
  // Milliseconds; 0 means no limit (negative values are treated as 0).
  HttpsRequestBuilder& timeout(long milliseconds);
  HttpsRequestBuilder& sendJson(bool json);
  HttpsRequestBuilder& setAcceptHeader(const std::string& accept);
  HttpsRequestBuilder& followRedirection(bool follow);
  HttpsRequestBuilder& https(bool https);
  HttpsRequestBuilder& verifySSLCertificate(bool verify);
  // An empty token removes bearer authentication.
  HttpsRequestBuilder& authorizeBearer(const std::string& token);
  // An empty user removes basic authentication.
  HttpsRequestBuilder& authorizeCredentials(const std::string& user, const std::string& password);
  // A second header of the same name replaces the first.
  HttpsRequestBuilder& addAdditionalHeader(const std::string& name, const std::string& value);
  HttpsRequestBuilder& addIgnoreErrorCheck(const std::function<bool(long)>& check);
  // Makes the request multipart; the body goes out as the part `partName`.
  HttpsRequestBuilder& mimeBodyData(const std::string& partName);
  // Makes the request multipart and appends one part.
  HttpsRequestBuilder& mimeMultiPart(const HttpsRequest::MultiPartData& part);
  // Makes the request multipart and replaces all parts.
  HttpsRequestBuilder& sendModelData(const std::vector<HttpsRequest::MultiPartData>& parts);
  HttpsRequestBuilder& forbidReuse(bool forbid);
  HttpsRequestBuilder& setExpect(bool expect);

  HttpsRequest build() const { return m_request; }

 private:
  HttpsRequest m_request;
};

// What came back for a request that completed.
struct UT_EXPORT HttpsResponse {
  long m_statusCode = 0;
  std::string m_body;
  // The raw header lines as received, "\r\n" included, of every response on
  // the way (a followed redirect contributes its own lines first).
  std::string m_headers;
  std::string m_effectiveUrl;
  double m_totalTime = 0.0;  // seconds
};

// The network layer's exception: a transfer that failed.
class UT_EXPORT HttpsError : public std::exception {
 public:
  explicit HttpsError(const std::string& utf8Message);
  const OdString& message() const noexcept { return m_message; }
  // The UTF-8 message.
  const char* what() const noexcept override { return m_utf8.c_str(); }

 private:
  OdString m_message;
  std::string m_utf8;
};

// The host name could not be resolved (the transfer library's code 6).
class UT_EXPORT HttpsCurlNetworkError : public HttpsError {
 public:
  HttpsCurlNetworkError(const std::string& utf8Message, int curlCode);
  int getCurlErrorCode() const noexcept { return m_curlCode; }

 private:
  int m_curlCode;
};

// The server answered with a status of 400 or more; the message is the body.
class UT_EXPORT HttpsResponseError : public HttpsError {
 public:
  explicit HttpsResponseError(HttpsResponse response);
  const HttpsResponse& response() const noexcept { return m_response; }

 private:
  HttpsResponse m_response;
};

// Runs requests against one host on a single reused handle, so consecutive
// requests to the same server share a connection unless a request forbids
// reuse. One mutex serialises execute(), urlEncode() and the logging file:
// a service may be shared between threads. Movable, not copyable; a
// moved-from service may only be destroyed or assigned to.
class UT_EXPORT HttpsService {
 public:
  // Called during a transfer with (download total, downloaded, upload total,
  // uploaded) in bytes; a non-zero result aborts the transfer, which then
  // throws HttpsError.
  using ProgressCallback = std::function<std::uint64_t(double, double, double, double)>;

  // `domain` is the host (with an optional ":port") that request paths are
  // appended to; it may be empty when every request is a whole URL. Throws
  // HttpsError "Unable to initialize CURL" when no handle can be made.
  explicit HttpsService(const std::string& domain);
  ~HttpsService();
  HttpsService(HttpsService&&) noexcept;
  HttpsService& operator=(HttpsService&&) noexcept;
  HttpsService(const HttpsService&) = delete;
  HttpsService& operator=(const HttpsService&) = delete;

  // Runs the request. Nothing of a previous request (method, body,
  // credentials, headers, verification) carries over to this one. Throws
  // HttpsCurlNetworkError for an unresolvable host, HttpsResponseError for a
  // status of 400 or more, HttpsError for every other failure (timeout,
  // refused connection, certificate, abort by the callback). The service stays
  // usable after any of them.
  HttpsResponse execute(const HttpsRequest& request, const ProgressCallback& progress = {});

  std::string domain() const;

  // Percent-encodes every byte except A-Z a-z 0-9 - . _ ~; empty in, empty out.
  std::string urlEncode(const std::string& text);

  // With a path: opens (truncating) a debug log of every later transfer there
  // — informational lines, header lines sent and received, and the sizes of
  // the data sent and received. Credentials never reach it: Authorization,
  // Cookie and Set-Cookie values are replaced by "[redacted]" and bodies are
  // not written. With nullopt or an empty name (isOk() false): closes the log.
  // A file that cannot be opened leaves logging off; getLoggingFilePath()
  // then returns nullopt.
  void setLoggingFile(const std::optional<FileName>& path);
  std::optional<FileName> getLoggingFilePath() const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace ut
