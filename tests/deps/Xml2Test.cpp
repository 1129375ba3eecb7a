#include <libxml/parser.h>
#include <libxml/tree.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

namespace {

struct DocDeleter {
  void operator()(xmlDoc* d) const { xmlFreeDoc(d); }
};
using Doc = std::unique_ptr<xmlDoc, DocDeleter>;

Doc parse(std::string_view text) {
  return Doc(xmlReadMemory(text.data(), static_cast<int>(text.size()), "test.xml", nullptr,
                           XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

std::string str(const xmlChar* s) { return s ? reinterpret_cast<const char*>(s) : std::string("(null)"); }

std::string prop(xmlNode* n, const char* name) {
  xmlChar* v = xmlGetProp(n, reinterpret_cast<const xmlChar*>(name));
  std::string out = str(v);
  xmlFree(v);
  return out;
}

std::string content(xmlNode* n) {
  xmlChar* v = xmlNodeGetContent(n);
  std::string out = str(v);
  xmlFree(v);
  return out;
}

}  // namespace

TEST(Xml2, ParsesElementsAttributesAndUtf8Text) {
  Doc doc = parse(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<collections><collection name=\"cpu\" interval=\"10\">caf\xC3\xA9 &amp; co</collection>"
      "<collection name=\"mem\"/></collections>");
  ASSERT_TRUE(doc);
  xmlNode* root = xmlDocGetRootElement(doc.get());
  ASSERT_NE(nullptr, root);
  EXPECT_EQ("collections", str(root->name));

  xmlNode* first = xmlFirstElementChild(root);
  ASSERT_NE(nullptr, first);
  EXPECT_EQ("cpu", prop(first, "name"));
  EXPECT_EQ("10", prop(first, "interval"));
  EXPECT_EQ("caf\xC3\xA9 & co", content(first));

  xmlNode* second = xmlNextElementSibling(first);
  ASSERT_NE(nullptr, second);
  EXPECT_EQ("mem", prop(second, "name"));
  EXPECT_EQ(nullptr, xmlNextElementSibling(second));
}

TEST(Xml2, MalformedDocumentsAreRejected) {
  EXPECT_FALSE(parse("<a><b></a>"));
  EXPECT_FALSE(parse(""));
  EXPECT_FALSE(parse("<a>&undefined;</a>"));
}
