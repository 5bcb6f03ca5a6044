#include <libxml/xmlwriter.h>

#include <memory>

#include "base/paths.h"
#include "media/vyr_document.h"

namespace morvane {
namespace {

struct BufferFree {
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};
struct WriterFree {
  void operator()(xmlTextWriter* writer) const { xmlFreeTextWriter(writer); }
};

const xmlChar* Xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

// Writes elements one after another; the first refusal stops all.
class DocumentWriter {
 public:
  explicit DocumentWriter(xmlTextWriter* writer) : writer_(writer) {
    Note(xmlTextWriterStartDocument(writer_, nullptr, "UTF-8", nullptr));
  }
  void Group(const char* name) {
    Note(xmlTextWriterStartElement(writer_, Xml(name)));
    Note(xmlTextWriterWriteAttribute(writer_, Xml("version"), Xml("1.0")));
  }
  void EndGroup() { Note(xmlTextWriterEndElement(writer_)); }
  void Text(const char* name, const std::string& value) {
    Note(xmlTextWriterWriteElement(writer_, Xml(name), Xml(CleanText(value).c_str())));
  }
  void Number(const char* name, int32_t value) {
    Note(xmlTextWriterWriteFormatElement(writer_, Xml(name), "%d", value));
  }
  bool End() {
    Note(xmlTextWriterEndDocument(writer_));
    return good_;
  }

 private:
  void Note(int result) { good_ = good_ && result >= 0; }

  xmlTextWriter* writer_;
  bool good_ = true;
};

std::string ClipNameText(const NxVyrHead& head) {
  std::u16string name;
  for (size_t i = 0; i < kVyrClipNameChars && head.clipName[i] != 0; ++i) {
    name.push_back(head.clipName[i]);
  }
  std::string text;
  if (Utf16ToUtf8(name, &text)) return text;
  // Lone surrogates have no other form.
  for (char16_t& unit : name) {
    if ((unit & 0xF800) == 0xD800) unit = 0xFFFD;
  }
  (void)Utf16ToUtf8(name, &text);
  return text;
}

void WriteLogInfo(const NxMediaMetadata& metadata, DocumentWriter* out) {
  const bool hasReel = (metadata.presentFlags & kMetaReelName) != 0;
  out->Group("LogInfo");
  // Deliberate: of all log fields only the reel's name travels in a sidecar.
  out->Text("Project", "none");
  out->Text("ReelName", hasReel ? FieldText(metadata.reelName, sizeof metadata.reelName)
                                : std::string("untitled"));
  out->Text("Description", "none");
  out->Text("Scene", "1");
  out->Text("Shot", "1");
  out->Text("Take", "1");
  out->EndGroup();
}

void WriteExtended(const NxMediaMetadata& metadata, DocumentWriter* out) {
  const bool has = (metadata.presentFlags & kMetaExtended) != 0;
  const NxMediaExtended& e = metadata.extended;
  const auto text = [has](const char* field, size_t bytes, const char* otherwise) {
    return has ? FieldText(field, bytes) : std::string(otherwise);
  };
  out->Group("PPro2MetaData");
  out->Text("OrgTC", text(e.orgTC, sizeof e.orgTC, "00:00:00:00"));
  out->Number("OrgTCScale", has ? e.orgTCScale : 24000);
  out->Number("OrgTCRate", has ? e.orgTCRate : 1001);
  out->Text("OrgReelName", text(e.orgReelName, sizeof e.orgReelName, "untitled"));
  out->Text("AltTC", text(e.altTC, sizeof e.altTC, "00:00:00:00"));
  out->Number("AltTCScale", has ? e.altTCScale : 24000);
  // Deliberate: the rate goes out under the scale's name, as in the files in the field.
  out->Number("AltTCScale", has ? e.altTCRate : 1001);
  out->Text("AltReelName", text(e.altReelName, sizeof e.altReelName, "untitled"));
  out->Text("Comment", text(e.comment, sizeof e.comment, "none"));
  out->Number("DataType", has ? static_cast<int32_t>(e.dataType) : 1);
  out->EndGroup();
}

void WriteAll(const NxVyrHead& head, const NxMediaMetadata& metadata, DocumentWriter* out) {
  out->Group("VYRFileData");
  out->Text("MasterClip", ClipNameText(head));
  out->Number("PARNum", head.parNum);
  out->Number("PARDen", head.parDen);
  out->Number("TimeScale", head.timeScale);
  out->Number("TimeRate", head.timeRate);
  out->Number("FieldType", head.fieldType);
  out->Number("FileDataFlags", static_cast<int32_t>(metadata.presentFlags));
  out->Group("TimeCode");
  out->Number("TC", static_cast<int32_t>(metadata.timeCode));
  out->Number("UserBits", static_cast<int32_t>(metadata.userBits));
  out->Number("TimeCodeType", static_cast<int32_t>(metadata.timeCodeType));
  out->Number("DF", metadata.dropFrame);
  out->Number("TCScale", metadata.tcScale);
  out->Number("TCRate", metadata.tcRate);
  out->EndGroup();
  out->Group("KeyKode");
  out->Text("FilmID", "00");
  out->Text("FilmType", "00");
  out->Text("FilmOffset", "00");
  out->Text("FilmPrefix", "000000");
  out->Text("FilmCount", "0000");
  out->EndGroup();
  WriteLogInfo(metadata, out);
  WriteExtended(metadata, out);
  out->EndGroup();
}

}  // namespace

bool BuildVyrDocument(const NxVyrHead& head, const NxMediaMetadata& metadata, std::string* text) {
  text->clear();
  const std::unique_ptr<xmlBuffer, BufferFree> buffer(xmlBufferCreate());
  if (buffer == nullptr) return false;
  std::unique_ptr<xmlTextWriter, WriterFree> writer(xmlNewTextWriterMemory(buffer.get(), 0));
  if (writer == nullptr) return false;
  DocumentWriter out(writer.get());
  WriteAll(head, metadata, &out);
  if (!out.End()) return false;
  writer.reset();  // writes out what it holds
  text->assign(reinterpret_cast<const char*>(xmlBufferContent(buffer.get())),
               static_cast<size_t>(xmlBufferLength(buffer.get())));
  return true;
}

}  // namespace morvane
