// `ut https get|post|put URL`: one HTTPS request through the library's client.

#include "ut_tool.h"

#include <ut/ut_https.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace ut::tool {
namespace {

// Transfers at least this large get a progress bar (on a terminal).
constexpr double kProgressThreshold = 1024.0 * 1024.0;

struct HttpsOptions {
  std::string url;
  std::vector<std::string> headers;
  std::optional<std::string> data;
  std::optional<std::string> output;
  std::optional<std::string> log;
  std::string bearer;
  std::string user;
  std::string accept;
  long timeout = 30000;
  bool json = false;
  bool insecure = false;
  bool include = false;
  bool noRedirects = false;
};

std::string readAll(const std::string& file) {
  std::ostringstream content;
  if (file == "-") {
    content << std::cin.rdbuf();
    return content.str();
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) throw OperationError("cannot read " + file);
  content << in.rdbuf();
  return content.str();
}

// "Name: value" into the request; anything else is a usage error.
void addHeader(HttpsRequestBuilder& builder, const std::string& header) {
  const auto colon = header.find(':');
  if (colon == std::string::npos || colon == 0) throw UsageError("a header is \"Name: value\", not \"" + header + "\"");
  const auto value = header.find_first_not_of(' ', colon + 1);
  builder.addAdditionalHeader(header.substr(0, colon), value == std::string::npos ? "" : header.substr(value));
}

HttpsRequest buildRequest(const HttpsOptions& o, int method) {
  if (o.url.find("https://") == std::string::npos && o.url.find("http://") == std::string::npos)
    throw UsageError("the URL must start with https:// or http://");
  HttpsRequestBuilder builder;
  builder.request(o.url).timeout(o.timeout).sendJson(o.json).followRedirection(!o.noRedirects);
  if (method == HttpsRequest::ePost) builder.post();
  if (method == HttpsRequest::ePut) builder.put();
  if (o.data) builder.body(readAll(*o.data));
  if (!o.bearer.empty()) builder.authorizeBearer(o.bearer);
  if (!o.user.empty()) {
    const auto colon = o.user.find(':');
    builder.authorizeCredentials(o.user.substr(0, colon), colon == std::string::npos ? "" : o.user.substr(colon + 1));
  }
  if (!o.accept.empty()) builder.setAcceptHeader(o.accept);
  if (o.insecure) builder.verifySSLCertificate(false);
  for (const auto& header : o.headers) addHeader(builder, header);
  return builder.build();
}

// A one-line bar on standard error for large transfers, when it is a terminal.
HttpsService::ProgressCallback progressBar() {
  if (!::isatty(STDERR_FILENO)) return {};
  return [](double dlTotal, double dlNow, double ulTotal, double ulNow) -> std::uint64_t {
    const bool up = ulTotal > dlTotal;
    const double total = up ? ulTotal : dlTotal, now = up ? ulNow : dlNow;
    if (total < kProgressThreshold) return 0;
    const int width = 40, filled = static_cast<int>(width * now / total);
    std::fprintf(stderr, "\r[%s%s] %3d%% %.1f/%.1f MB", std::string(filled, '#').c_str(),
                 std::string(width - filled, ' ').c_str(), static_cast<int>(100 * now / total), now / 1e6, total / 1e6);
    if (now >= total) std::fputc('\n', stderr);
    return 0;
  };
}

void writeOut(const HttpsOptions& o, const HttpsResponse& response) {
  std::string text = o.include ? response.m_headers : std::string();
  text += response.m_body;
  if (o.output && *o.output != "-") {
    std::ofstream out(*o.output, std::ios::binary | std::ios::trunc);
    if (!out.write(text.data(), static_cast<std::streamsize>(text.size())))
      throw OperationError("cannot write " + *o.output);
    return;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
}

int runRequest(const HttpsOptions& o, int method) {
  const HttpsRequest request = buildRequest(o, method);
  HttpsService service("");
  if (o.log) {
    service.setLoggingFile(FileName(OdString(fromUtf8(*o.log).ToStdWstring())));
    if (!service.getLoggingFilePath()) throw OperationError("cannot write the log " + *o.log);
  }
  trace(eTraceSteps, fromUtf8(std::string("https ") +
                              (method == 0   ? "GET "
                               : method == 1 ? "POST "
                                             : "PUT ") +
                              o.url.substr(0, o.url.find('?'))));
  try {
    writeOut(o, service.execute(request, progressBar()));
    return eExitOk;
  } catch (const HttpsResponseError& error) {
    writeOut(o, error.response());
    std::fprintf(stderr, "ut: HTTP %ld\n", error.response().m_statusCode);
    return eExitFailed;
  } catch (const HttpsError& error) {
    throw OperationError(error.what());
  }
}

void addMethod(CLI::App& https, Context& context, const char* name, int method, const char* description) {
  auto o = std::make_shared<HttpsOptions>();
  CLI::App* command = https.add_subcommand(name, description);
  command->add_option("URL", o->url, "The whole URL (https:// or http://)")->required();
  command->add_option("-H,--header", o->headers, "One more header, \"Name: value\" (repeatable)")->type_name("HEADER");
  if (method != HttpsRequest::eGet)
    command->add_option("-d,--data", o->data, "Send the contents of FILE as the body; - reads standard input")
        ->type_name("FILE");
  command->add_flag("--json", o->json, "The body is JSON (Content-Type: application/json)");
  command->add_option("--bearer", o->bearer, "Authorize with this bearer token")->type_name("TOKEN");
  command->add_option("-u,--user", o->user, "Basic authentication as USER:PASSWORD")->type_name("USER:PASSWORD");
  command->add_option("--accept", o->accept, "The Accept header")->type_name("TYPE");
  command->add_option("--timeout", o->timeout, "Give up after MS milliseconds (default 30000, 0 = never)")
      ->type_name("MS");
  command->add_flag("-k,--insecure", o->insecure, "Do not verify the server's certificate");
  command->add_flag("-i,--include", o->include, "Print the status line and response headers before the body");
  command->add_flag("--no-redirects", o->noRedirects, "Return redirects instead of following them");
  command->add_option("-o,--output", o->output, "Write the body to FILE instead of standard output")->type_name("FILE");
  command
      ->add_option("--log", o->log,
                   "Write a debug log of the exchange to FILE (headers and sizes; credentials redacted)")
      ->type_name("FILE");
  command->callback([&context, o, method] { context.action = [o, method] { return runRequest(*o, method); }; });
}

}  // namespace

void addHttpsCommands(CLI::App& app, Context& context) {
  CLI::App* https = app.add_subcommand(
      "https", "One HTTPS request: the body goes to standard output, exit status 1 for HTTP errors (status >= 400)");
  https->require_subcommand(1);
  addMethod(*https, context, "get", HttpsRequest::eGet, "GET a URL");
  addMethod(*https, context, "post", HttpsRequest::ePost, "POST a body to a URL");
  addMethod(*https, context, "put", HttpsRequest::ePut, "PUT a body to a URL");
}

}  // namespace ut::tool
