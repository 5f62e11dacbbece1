#include <gtest/gtest.h>

#include "support/TemporaryFolder.h"
#include "web/WebPage.h"

namespace tessaline {
namespace {

std::string body(const std::string& response) {
  return response.substr(std::min(response.find("\r\n\r\n") + 4, response.size()));
}

TEST(WebPage, AnswersEveryRequestWithThePageOrItsVersion) {
  const std::string page = WebPage::response("GET / HTTP/1.1\r\n\r\n");
  EXPECT_NE(page.find("Content-Length: " + std::to_string(body(page).size()) +
                      "\r\nConnection: close\r\n\r\n"),
            std::string::npos);
  EXPECT_NE(page.find("Cache-Control: no-store\r\n"), std::string::npos);
  for (const char* elsewhere : {" src=", "<link rel=\"stylesheet", "@import"}) {
    EXPECT_EQ(page.find(elsewhere), std::string::npos) << elsewhere;
  }
  for (const std::string_view request :
       {"", "word", "POST /anything HTTP/1.1", "GET  /", "\xFF\xFE /version", "GET /Version "}) {
    EXPECT_EQ(WebPage::response(request), page) << request;
  }
  const std::string version = WebPage::response("GET /version HTTP/1.1\r\n\r\n");
  EXPECT_EQ(body(version), WebPage::version());
  EXPECT_NE(page.find(WebPage::version()), std::string::npos) << "the page knows its own";
  EXPECT_EQ(WebPage::response("x   /versionXYZ"), version);
}

}  // namespace
}  // namespace tessaline
