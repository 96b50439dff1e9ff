#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "plugins/pl_lightbox.h"

namespace pelorin {
namespace {

constexpr std::string_view kImageRules =
    "img {max-height: 100%;max-width:100%;width:100%;height:100%;object-fit:contain;}\n"
    ".plFullScreenLightboxMain {display: -webkit-flex;-webkit-align-items: center;"
    "-webkit-justify-content: center;-webkit-flex-direction:column;height:100%}\n"
    ".plFullScreenLightboxWrapper { height:100%;}body { height:100vh;}";

TEST(PLLightboxHtmlTest, TextContentPageHasPaddingButNoImageRules) {
  const auto page = PLLightbox::constructHtml("<p>Spring sale</p>", std::nullopt, std::nullopt);

  EXPECT_EQ(page,
            "<!DOCTYPE html><html><head><style type=\"text/css\">\n"
            ".plFullScreenLightboxMain {padding: 5px;}\n"
            "* { margin: 0; padding: 0; }\n"
            "</style></head><body>\n"
            "<div class=\"plFullScreenLightboxWrapper\">\n"
            "\t<div class=\"plFullScreenLightboxMain\"><p>Spring sale</p>\n"
            "</div></div></body></html>");
}

TEST(PLLightboxHtmlTest, ImageOnlyContentPageHasTheImageRules) {
  const auto page =
      PLLightbox::constructHtml("<img src=\"banner.png\">", std::nullopt, std::nullopt);

  EXPECT_EQ(page, "<!DOCTYPE html><html><head><style type=\"text/css\">\n" +
                      std::string(kImageRules) +
                      ".plFullScreenLightboxMain {padding: 5px;}\n"
                      "* { margin: 0; padding: 0; }\n"
                      "</style></head><body>\n"
                      "<div class=\"plFullScreenLightboxWrapper\">\n"
                      "\t<div class=\"plFullScreenLightboxMain\"><img src=\"banner.png\">\n"
                      "</div></div></body></html>");
}

TEST(PLLightboxHtmlTest, StylesheetLinkAndInlineCssFollowTheStyleBlock) {
  const auto page = PLLightbox::constructHtml("<p>Hi</p>", "https://cdn.example.com/box.css",
                                              "p { color: red; }");

  EXPECT_EQ(page,
            "<!DOCTYPE html><html><head><style type=\"text/css\">\n"
            ".plFullScreenLightboxMain {padding: 5px;}\n"
            "* { margin: 0; padding: 0; }\n"
            "</style><style type=\"text/css\">p { color: red; }</style>"
            "<link rel=\"stylesheet\" type=\"text/css\" href=\"https://cdn.example.com/box.css\" />"
            "</head><body>\n"
            "<div class=\"plFullScreenLightboxWrapper\">\n"
            "\t<div class=\"plFullScreenLightboxMain\"><p>Hi</p>\n"
            "</div></div></body></html>");
}

TEST(PLLightboxHtmlTest, CompleteDocumentContributesItsBody) {
  const auto page = PLLightbox::constructHtml(
      "<!DOCTYPE html><html><head><title>Offer</title></head>"
      "<BODY class=\"offer\"><h1>Sale</h1></BODY></html>",
      std::nullopt, std::nullopt);

  ASSERT_TRUE(page);
  EXPECT_NE(page->find("<div class=\"plFullScreenLightboxMain\"><h1>Sale</h1>\n</div>"),
            std::string::npos);
  EXPECT_EQ(page->find("<title>"), std::string::npos);
}

TEST(PLLightboxHtmlTest, NoContentGivesNoPage) {
  EXPECT_EQ(PLLightbox::constructHtml(std::nullopt, "x.css", "p {}"), std::nullopt);
  EXPECT_EQ(PLLightbox::constructHtml("", std::nullopt, std::nullopt), std::nullopt);
}

TEST(PLLightboxHtmlTest, ExtractTakesTheInsideOfTheBody) {
  EXPECT_EQ(PLLightbox::extractContentFromHtml("<html><body><p>a</p></body></html>"), "<p>a</p>");
  EXPECT_EQ(PLLightbox::extractContentFromHtml("<html><Body style=\"x\">\n<p>a</p>\n</bODY>"),
            "\n<p>a</p>\n");
}

TEST(PLLightboxHtmlTest, ExtractKeepsAFragmentAsItIs) {
  EXPECT_EQ(PLLightbox::extractContentFromHtml("<p>a</p>"), "<p>a</p>");
  EXPECT_EQ(PLLightbox::extractContentFromHtml("<p>the <bodyguard> tag</p>"),
            "<p>the <bodyguard> tag</p>");
}

TEST(PLLightboxHtmlTest, ExtractOfABodyWithoutEndTakesTheRest) {
  EXPECT_EQ(PLLightbox::extractContentFromHtml("<body><p>a</p>"), "<p>a</p>");
  EXPECT_EQ(PLLightbox::extractContentFromHtml("<body"), "<body");
}

TEST(PLLightboxHtmlTest, ImageOnlyContentIsOneImageAndNoText) {
  EXPECT_TRUE(PLLightbox::isImageOnly("<img src=\"a.png\">"));
  EXPECT_TRUE(PLLightbox::isImageOnly("\n  <IMG SRC=\"a.png\"/>  \n"));
}

TEST(PLLightboxHtmlTest, ImageInsideAnotherElementIsNotImageOnly) {
  // The image rules size an image against the lightbox, not against a link around it.
  EXPECT_FALSE(PLLightbox::isImageOnly("<a href=\"https://x\"><img src=\"a.png\"></a>"));
  EXPECT_FALSE(PLLightbox::isImageOnly("<div><img src=\"a.png\"></div>"));
}

TEST(PLLightboxHtmlTest, TextOrSeveralImagesAreNotImageOnly) {
  EXPECT_FALSE(PLLightbox::isImageOnly("<p>Sale</p>"));
  EXPECT_FALSE(PLLightbox::isImageOnly("<img src=\"a.png\"><p>Sale</p>"));
  EXPECT_FALSE(PLLightbox::isImageOnly("<img src=\"a.png\"><img src=\"b.png\">"));
  EXPECT_FALSE(PLLightbox::isImageOnly("<imgur>a</imgur>"));
  EXPECT_FALSE(PLLightbox::isImageOnly("<img src=\"a.png\">Sale"));
  EXPECT_FALSE(PLLightbox::isImageOnly(""));
}

}  // namespace
}  // namespace pelorin
