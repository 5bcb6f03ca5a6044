#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "media/vyr_document.h"

namespace morvane {
namespace {

struct DocFree {
  void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
struct XmlFree {
  void operator()(xmlChar* text) const { xmlFree(text); }
};

// A document that names other files or addresses gets nothing for them.
xmlParserInputPtr RefuseExternal(const char*, const char*, xmlParserCtxtPtr) {
  return nullptr;
}

xmlNode* ElementFrom(xmlNode* node) {
  while (node != nullptr && node->type != XML_ELEMENT_NODE) node = node->next;
  return node;
}

bool IsNamed(const xmlNode* node, const char* name) {
  return xmlStrEqual(node->name, reinterpret_cast<const xmlChar*>(name)) != 0;
}

// Walks the elements of one group in their order. After the first that is not as expected every
// further one answers with its default.
class GroupReader {
 public:
  explicit GroupReader(xmlNode* firstChild) : node_(ElementFrom(firstChild)) {}

  std::string Text(const char* name, const char* otherwise) {
    std::string value;
    if (inOrder_) inOrder_ = Take(name, &value);
    return inOrder_ ? value : otherwise;
  }
  int32_t Number(const char* name) { return static_cast<int32_t>(Word(name)); }
  uint32_t Word(const char* name) {
    const long long value = std::strtoll(Text(name, "0").c_str(), nullptr, 10);
    return static_cast<uint32_t>(std::clamp<long long>(value, INT32_MIN, UINT32_MAX));
  }
  // The children of the next group of this name; an empty group if there is none further on.
  GroupReader Group(const char* name) {
    for (xmlNode* node = node_; node != nullptr; node = ElementFrom(node->next)) {
      if (!IsNamed(node, name)) continue;
      node_ = ElementFrom(node->next);
      return GroupReader(node->children);
    }
    return GroupReader(nullptr);
  }

 private:
  bool Take(const char* name, std::string* value) {
    if (node_ == nullptr || !IsNamed(node_, name)) return false;
    const std::unique_ptr<xmlChar, XmlFree> content(xmlNodeGetContent(node_));
    if (content == nullptr || content.get()[0] == 0) return false;
    *value = reinterpret_cast<const char*>(content.get());
    node_ = ElementFrom(node_->next);
    return true;
  }

  xmlNode* node_;
  bool inOrder_ = true;
};

template <size_t N>
void PutField(const std::string& text, char (&field)[N]) {
  PutText(text, field, N);
}

void ReadLogInfo(GroupReader group, NxMediaMetadata* metadata) {
  PutField(group.Text("Project", "none"), metadata->project);
  PutField(group.Text("ReelName", "untitled"), metadata->reelName);
  PutField(group.Text("Description", "none"), metadata->description);
  PutField(group.Text("Scene", ""), metadata->scene);
  PutField(group.Text("Shot", ""), metadata->shot);
  PutField(group.Text("Take", ""), metadata->take);
}

void ReadExtended(GroupReader group, NxMediaExtended* extended) {
  PutField(group.Text("OrgTC", "00:00:00:00"), extended->orgTC);
  extended->orgTCScale = group.Number("OrgTCScale");
  extended->orgTCRate = group.Number("OrgTCRate");
  PutField(group.Text("OrgReelName", "untitled"), extended->orgReelName);
  PutField(group.Text("AltTC", ""), extended->altTC);
  extended->altTCScale = group.Number("AltTCScale");
  // Deliberate: the writer has another name here, so its own files end at this element.
  extended->altTCRate = group.Number("AltTCRate");
  PutField(group.Text("AltReelName", ""), extended->altReelName);
  PutField(group.Text("Comment", ""), extended->comment);
  extended->dataType = group.Word("DataType");
}

void ReadAll(xmlNode* root, NxVyrHead* head, NxMediaMetadata* metadata) {
  GroupReader top(root->children);
  const std::string clipName = top.Text("MasterClip", "");
  (void)PutText(clipName, head->clipName, kVyrClipNameChars);
  head->parNum = top.Number("PARNum");
  head->parDen = top.Number("PARDen");
  head->timeScale = top.Number("TimeScale");
  head->timeRate = top.Number("TimeRate");
  head->fieldType = top.Number("FieldType");
  metadata->presentFlags = top.Word("FileDataFlags");
  GroupReader timeCode = top.Group("TimeCode");
  metadata->timeCode = timeCode.Word("TC");
  metadata->userBits = timeCode.Word("UserBits");
  metadata->timeCodeType = timeCode.Word("TimeCodeType");
  metadata->dropFrame = static_cast<uint8_t>(timeCode.Word("DF"));
  metadata->tcScale = timeCode.Number("TCScale");
  metadata->tcRate = timeCode.Number("TCRate");
  (void)top.Group("KeyKode");  // a film key number is never taken from a sidecar
  ReadLogInfo(top.Group("LogInfo"), metadata);
  ReadExtended(top.Group("PPro2MetaData"), &metadata->extended);
}

}  // namespace

bool ParseVyrDocument(const std::string& text, NxVyrHead* head, NxMediaMetadata* metadata) {
  static std::once_flag once;
  std::call_once(once, [] {
    xmlInitParser();
    xmlSetExternalEntityLoader(RefuseExternal);
  });
  // Entities substituted, attributes defaulted, blanks dropped; what is wrong is not our user's to
  // read on standard error.
  constexpr int kOptions = XML_PARSE_NOENT | XML_PARSE_DTDATTR | XML_PARSE_NOBLANKS |
                           XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  const std::unique_ptr<xmlDoc, DocFree> doc(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), "sidecar.vyr", "UTF-8", kOptions));
  if (doc == nullptr) return false;
  xmlNode* root = xmlDocGetRootElement(doc.get());
  if (root == nullptr) return false;
  *head = {};
  *metadata = {};
  ReadAll(root, head, metadata);
  CompleteMetadata(metadata);
  return true;
}

}  // namespace morvane
