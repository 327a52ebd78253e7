// HttpsService: runs requests on one reused libcurl easy handle.

#include "ut_https_internal.h"
#include "ut_platform.h"

#include <ut/ut_https.h>
#include <ut/ut_tracer.h>

#include <curl/curl.h>

#include <cstdio>
#include <fstream>
#include <mutex>
#include <utility>

namespace ut {
namespace {

// Trace level of one line per transfer.
constexpr int kTraceLevel = 3;

// libcurl's process-wide set-up, done once before the first handle.
void initCurlOnce() {
  static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
  (void)result;
}

size_t appendToString(char* data, size_t size, size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

// libcurl's receive buffer: larger than its 16 KB default, so a big download
// takes fewer, larger writes (and fewer TLS record reads per call).
constexpr long kReceiveBufferBytes = 256 * 1024;

// The most a body is grown to in advance on the server's word (its
// Content-Length); a larger body still arrives, grown as it comes.
constexpr curl_off_t kMaxPresize = 256LL * 1024 * 1024;

// From this announced size on, the body's buffer is advised for huge pages.
constexpr curl_off_t kLargeBody = 8LL * 1024 * 1024;

// Where a transfer's body goes: the response's string, sized once to the
// announced length, so a large body is not copied again at every doubling.
struct BodySink {
  CURL* curl = nullptr;
  std::string* body = nullptr;
  bool sized = false;
};

size_t appendToBody(char* data, size_t size, size_t count, void* target) {
  auto* sink = static_cast<BodySink*>(target);
  if (!sink->sized) {
    sink->sized = true;
    curl_off_t length = -1;
    if (curl_easy_getinfo(sink->curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) == CURLE_OK && length > 0) {
      sink->body->reserve(sink->body->size() + static_cast<size_t>(length < kMaxPresize ? length : kMaxPresize));
      // Fresh pages of a large body cost a page fault each as they are first
      // written; huge pages make that a few hundred times fewer.
      if (length >= kLargeBody) platform::adviseLargeWrite(sink->body->data(), sink->body->capacity());
    }
  }
  sink->body->append(data, size * count);
  return size * count;
}

// Writes the transfer's debug output to the logging stream, without bodies and
// with credentials redacted.
int writeDebugLog(CURL*, curl_infotype type, char* data, size_t size, void* target) {
  auto* log = static_cast<std::ofstream*>(target);
  if (log == nullptr || !log->is_open()) return 0;
  const std::string_view text(data, size);
  switch (type) {
    case CURLINFO_TEXT:
      *log << "* " << text;
      break;
    case CURLINFO_HEADER_OUT:
      *log << "> " << net::redactHeaders(text);
      break;
    case CURLINFO_HEADER_IN:
      *log << "< " << net::redactHeaders(text);
      break;
    case CURLINFO_DATA_OUT:
      *log << "> [" << size << " bytes of data]\n";
      break;
    case CURLINFO_DATA_IN:
      *log << "< [" << size << " bytes of data]\n";
      break;
    default:  // TLS records: nothing readable
      break;
  }
  log->flush();
  return 0;
}

int callProgress(void* callback, curl_off_t dlTotal, curl_off_t dlNow, curl_off_t ulTotal, curl_off_t ulNow) {
  const auto& progress = *static_cast<const HttpsService::ProgressCallback*>(callback);
  return progress(double(dlTotal), double(dlNow), double(ulTotal), double(ulNow)) != 0 ? 1 : 0;
}

const char* methodName(int method) {
  switch (method) {
    case HttpsRequest::ePost:
      return "POST";
    case HttpsRequest::ePut:
      return "PUT";
    default:
      return "GET";
  }
}

std::string composeUrl(const HttpsRequest& request, const std::string& domain) {
  const std::string& path = request.m_request;
  if (path.find("https://") != std::string::npos || path.find("http://") != std::string::npos) return path;
  return std::string(request.m_https ? "https" : "http") + "://" + domain + path;
}

// Owns what one transfer hands to libcurl and frees it afterwards.
class TransferResources {
 public:
  explicit TransferResources(CURL* curl) : m_curl(curl) {}
  ~TransferResources() {
    curl_slist_free_all(m_headers);
    curl_mime_free(m_mime);
  }
  TransferResources(const TransferResources&) = delete;
  TransferResources& operator=(const TransferResources&) = delete;

  void addHeader(const std::string& line) {
    if (curl_slist* grown = curl_slist_append(m_headers, line.c_str())) m_headers = grown;
  }
  curl_slist* headers() const { return m_headers; }

  curl_mime* mime() {
    if (m_mime == nullptr) m_mime = curl_mime_init(m_curl);
    return m_mime;
  }

 private:
  CURL* m_curl;
  curl_slist* m_headers = nullptr;
  curl_mime* m_mime = nullptr;
};

void setBody(CURL* curl, const HttpsRequest& request) {
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.m_body.size()));
  if (!request.m_body.empty()) curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.m_body.c_str());
}

void setMultipart(CURL* curl, const HttpsRequest& request, TransferResources& resources) {
  curl_mime* mime = resources.mime();
  if (!request.m_body.empty()) {
    curl_mimepart* part = curl_mime_addpart(mime);
    curl_mime_name(part, request.m_bodyPartName.c_str());
    curl_mime_data(part, request.m_body.data(), request.m_body.size());
    if (request.m_sendJson) curl_mime_type(part, "application/json");
  }
  for (const auto& data : request.m_multiParts) {
    curl_mimepart* part = curl_mime_addpart(mime);
    curl_mime_name(part, data.m_name.c_str());
    if (data.m_isData)
      curl_mime_data(part, data.m_data.data(), data.m_data.size());
    else
      curl_mime_filedata(part, data.m_data.c_str());
    if (!data.m_fileName.empty()) curl_mime_filename(part, data.m_fileName.c_str());
  }
  curl_easy_setopt(curl, CURLOPT_MIMEPOST, mime);
}

// The header list in its fixed order, and the authentication that goes with it.
void setHeaders(CURL* curl, const HttpsRequest& request, TransferResources& resources) {
  if (request.m_multipart)
    resources.addHeader("Content-Type: multipart/form-data");
  else if (request.m_sendJson)
    resources.addHeader("Content-Type: application/json");
  if (!request.m_bearerToken.empty()) {
    curl_easy_setopt(curl, CURLOPT_UNRESTRICTED_AUTH, 1L);
    resources.addHeader("Authorization: Bearer " + request.m_bearerToken);
  } else if (!request.m_user.empty()) {
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    curl_easy_setopt(curl, CURLOPT_USERNAME, request.m_user.c_str());
    curl_easy_setopt(curl, CURLOPT_PASSWORD, request.m_password.c_str());
  }
  if (!request.m_expect) resources.addHeader("Expect:");
  if (!request.m_accept.empty()) resources.addHeader("Accept: " + request.m_accept);
  if (request.m_forbidReuse) curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L);
  for (const auto& [name, value] : request.m_additionalHeaders) resources.addHeader(name + ": " + value);
  // Tied to the presence of additional headers on purpose: some servers
  // behind such headers insist on a length even for empty requests.
  if (!request.m_additionalHeaders.empty() && request.m_body.empty() && request.m_multiParts.empty() &&
      request.m_bodyPartName.empty())
    resources.addHeader("Content-length: 0");
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, resources.headers());
}

void setVerification(CURL* curl, const HttpsRequest& request) {
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, request.m_verifySSLCertificate ? 1L : 0L);
  if (!request.m_verifySSLCertificate) {
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    return;
  }
  const std::string bundle = net::programCaBundle();
  if (!bundle.empty()) curl_easy_setopt(curl, CURLOPT_CAINFO, bundle.c_str());
}

void traceTransfer(const HttpsRequest& request, const std::string& url, const char* outcome) {
  SafeTracerAccessor access;
  UtTracer& tracer = access.get();
  if (tracer.traceLevel() < kTraceLevel) return;
  tracer.str(kTraceLevel) << "HTTPS " << methodName(request.m_method) << ' ' << net::urlForTrace(url) << ": " << outcome
                          << std::endl;
}

}  // namespace

struct HttpsService::State {
  std::string domain;
  CURL* curl = nullptr;
  mutable std::mutex mutex;
  std::optional<FileName> logPath;
  std::ofstream log;

  ~State() {
    if (curl != nullptr) curl_easy_cleanup(curl);
  }

  // Options every transfer starts from: curl_easy_reset drops everything the
  // previous request set but keeps live connections and caches.
  void resetHandle() {
    curl_easy_reset(curl);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendToBody);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, appendToString);
    if (log.is_open()) {
      curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, writeDebugLog);
      curl_easy_setopt(curl, CURLOPT_DEBUGDATA, &log);
      curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
    }
  }
};

HttpsService::HttpsService(const std::string& domain) : m_state(std::make_unique<State>()) {
  initCurlOnce();
  m_state->domain = domain;
  m_state->curl = curl_easy_init();
  if (m_state->curl == nullptr) throw HttpsError("Unable to initialize CURL");
}

HttpsService::~HttpsService() = default;
HttpsService::HttpsService(HttpsService&&) noexcept = default;
HttpsService& HttpsService::operator=(HttpsService&&) noexcept = default;

HttpsResponse HttpsService::execute(const HttpsRequest& request, const ProgressCallback& progress) {
  std::lock_guard lock(m_state->mutex);
  CURL* curl = m_state->curl;
  m_state->resetHandle();
  TransferResources resources(curl);

  const std::string url = composeUrl(request, m_state->domain);
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, methodName(request.m_method));
  if (request.m_multipart)
    setMultipart(curl, request, resources);
  else
    setBody(curl, request);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, request.m_timeout);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, request.m_followRedirection ? 1L : 0L);
  setVerification(curl, request);
  setHeaders(curl, request, resources);

  HttpsResponse response;
  BodySink sink{curl, &response.m_body};
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &sink);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response.m_headers);
  if (progress) {
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, const_cast<ProgressCallback*>(&progress));
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, callProgress);
  }
  const CURLcode code = curl_easy_perform(curl);
  if (progress) {
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, nullptr);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, nullptr);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 1L);
  }
  if (code != CURLE_OK) {
    traceTransfer(request, url, curl_easy_strerror(code));
    if (code == CURLE_COULDNT_RESOLVE_HOST) throw HttpsCurlNetworkError(curl_easy_strerror(code), code);
    throw HttpsError(curl_easy_strerror(code));
  }

  char* effectiveUrl = nullptr;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.m_statusCode);
  curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &effectiveUrl);
  curl_easy_getinfo(curl, CURLINFO_TOTAL_TIME, &response.m_totalTime);
  if (effectiveUrl != nullptr) response.m_effectiveUrl = effectiveUrl;
  traceTransfer(request, url, std::to_string(response.m_statusCode).c_str());
  if (response.m_statusCode >= 400) throw HttpsResponseError(std::move(response));
  return response;
}

std::string HttpsService::domain() const { return m_state->domain; }

std::string HttpsService::urlEncode(const std::string& text) {
  std::lock_guard lock(m_state->mutex);
  char* escaped = curl_easy_escape(m_state->curl, text.data(), static_cast<int>(text.size()));
  if (escaped == nullptr) return {};
  std::string result(escaped);
  curl_free(escaped);
  return result;
}

void HttpsService::setLoggingFile(const std::optional<FileName>& path) {
  std::lock_guard lock(m_state->mutex);
  curl_easy_setopt(m_state->curl, CURLOPT_DEBUGDATA, nullptr);
  curl_easy_setopt(m_state->curl, CURLOPT_VERBOSE, 0L);
  if (m_state->log.is_open()) m_state->log.close();
  m_state->log.clear();
  m_state->logPath.reset();
  if (!path || !path->isOk()) return;
  m_state->log.open(path->getFullPath().toUtf8().c_str(), std::ios::out | std::ios::trunc | std::ios::binary);
  if (m_state->log.is_open()) m_state->logPath = *path;
}

std::optional<FileName> HttpsService::getLoggingFilePath() const {
  std::lock_guard lock(m_state->mutex);
  return m_state->logPath;
}

}  // namespace ut
