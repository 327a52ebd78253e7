// The request builder and the exception classes of the HTTPS client.

#include <ut/ut_https.h>

#include <utility>

namespace ut {

HttpsRequestBuilder& HttpsRequestBuilder::post() {
  m_request.m_method = HttpsRequest::ePost;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::put() {
  m_request.m_method = HttpsRequest::ePut;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::request(std::string request) {
  m_request.m_request = std::move(request);
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::body(std::string body) {
  m_request.m_body = std::move(body);
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::timeout(long milliseconds) {
  m_request.m_timeout = milliseconds < 0 ? 0 : milliseconds;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::sendJson(bool json) {
  m_request.m_sendJson = json;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::setAcceptHeader(const std::string& accept) {
  m_request.m_accept = accept;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::followRedirection(bool follow) {
  m_request.m_followRedirection = follow;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::https(bool https) {
  m_request.m_https = https;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::verifySSLCertificate(bool verify) {
  m_request.m_verifySSLCertificate = verify;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::authorizeBearer(const std::string& token) {
  m_request.m_bearerToken = token;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::authorizeCredentials(const std::string& user, const std::string& password) {
  m_request.m_user = user;
  m_request.m_password = password;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::addAdditionalHeader(const std::string& name, const std::string& value) {
  m_request.m_additionalHeaders[name] = value;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::addIgnoreErrorCheck(const std::function<bool(long)>& check) {
  m_request.m_ignoreErrorCheck = check;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::mimeBodyData(const std::string& partName) {
  m_request.m_multipart = true;
  m_request.m_bodyPartName = partName;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::mimeMultiPart(const HttpsRequest::MultiPartData& part) {
  m_request.m_multipart = true;
  m_request.m_multiParts.push_back(part);
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::sendModelData(const std::vector<HttpsRequest::MultiPartData>& parts) {
  m_request.m_multipart = true;
  m_request.m_multiParts = parts;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::forbidReuse(bool forbid) {
  m_request.m_forbidReuse = forbid;
  return *this;
}

HttpsRequestBuilder& HttpsRequestBuilder::setExpect(bool expect) {
  m_request.m_expect = expect;
  return *this;
}

HttpsError::HttpsError(const std::string& utf8Message)
    : m_message(OdString::fromUtf8(utf8Message)), m_utf8(utf8Message) {}

HttpsCurlNetworkError::HttpsCurlNetworkError(const std::string& utf8Message, int curlCode)
    : HttpsError(utf8Message), m_curlCode(curlCode) {}

HttpsResponseError::HttpsResponseError(HttpsResponse response)
    : HttpsError(response.m_body), m_response(std::move(response)) {}

}  // namespace ut
