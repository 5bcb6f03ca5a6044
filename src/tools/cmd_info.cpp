#include <cstdio>
#include <memory>

#include "tools/clip_door.h"
#include "tools/command.h"

namespace morvane::tools {
namespace {

struct InfoOptions {
  std::string clip;
  std::string audioDir;
};

const char* ClassName(NxMediaFileBase& file, const std::string& path) {
  char name[64] = {};
  file.GetMediaName(name);
  static constexpr struct {
    const char* name;
    const char* className;
  } kClasses[] = {{"QuickTime Movie", "NxMediaMOV"}, {"AVI Movie", "NxMediaAVI"},
                  {"DPX Sequence", "NxMediaDPX"},    {"Cineon Sequence", "NxMediaCIN"},
                  {"TGA Sequence", "NxMediaTGA"},    {"BMP Sequence", "NxMediaBMP"},
                  {"TIFF Sequence", "NxMediaTIF"},   {"YUV Sequence", "NxMediaYUV"},
                  {"WAV Audio File", "NxMediaWAV"}};
  for (const auto& row : kClasses) {
    if (std::string(name) == row.name) return row.className;
  }
  return path.c_str();
}

// A code of the record; none where the clip has no picture.
Json Code(FourCCCode code) {
  return code == 0 ? Json(nullptr) : Json(FourCCText(code));
}

Json Extended(const NxMediaExtended& block) {
  return Json{{"orgTC", FieldText(block.orgTC, sizeof block.orgTC)},
              {"orgTCScale", static_cast<int32_t>(block.orgTCScale)},
              {"orgTCRate", static_cast<int32_t>(block.orgTCRate)},
              {"altTC", FieldText(block.altTC, sizeof block.altTC)},
              {"altTCScale", static_cast<int32_t>(block.altTCScale)},
              {"altTCRate", static_cast<int32_t>(block.altTCRate)},
              {"orgReelName", FieldText(block.orgReelName, sizeof block.orgReelName)},
              {"altReelName", FieldText(block.altReelName, sizeof block.altReelName)},
              {"comment", FieldText(block.comment, sizeof block.comment)},
              {"dataType", static_cast<uint32_t>(block.dataType)}};
}

Json Metadata(const NxMediaMetadata& block) {
  Json document = Json::object();
  const uint32_t flags = block.presentFlags;
  if ((flags & kMetaKeyKode) != 0) {
    std::string digits;
    for (const uint8_t byte : block.keyKode) {
      char text[4];
      std::snprintf(text, sizeof text, "%02X", byte);
      digits += text;
    }
    document["keyKode"] = digits;
  }
  if ((flags & kMetaTimeCode) != 0) {
    document["timeCode"] = TimecodeWordText(block.timeCode, block.dropFrame != 0);
    document["userBits"] = HexWord(block.userBits);
    document["timeCodeType"] = static_cast<uint32_t>(block.timeCodeType);
    document["dropFrame"] = block.dropFrame != 0;
    document["tcScale"] = static_cast<int32_t>(block.tcScale);
    document["tcRate"] = static_cast<int32_t>(block.tcRate);
  }
  if ((flags & kMetaProject) != 0) document["project"] = FieldText(block.project, 64);
  if ((flags & kMetaReelName) != 0) document["reelName"] = FieldText(block.reelName, 32);
  if ((flags & kMetaDescription) != 0) document["description"] = FieldText(block.description, 128);
  if ((flags & kMetaScene) != 0) document["scene"] = FieldText(block.scene, 64);
  if ((flags & kMetaShot) != 0) document["shot"] = FieldText(block.shot, 32);
  if ((flags & kMetaTake) != 0) document["take"] = FieldText(block.take, 32);
  if ((flags & kMetaExtended) != 0) document["extended"] = Extended(block.extended);
  return document;
}

Json Audio(const NxMediaFileInfo& info) {
  if (info.audio.fileCount <= 0) return nullptr;
  Json samples = Json::array();
  for (int32_t i = 0; i < info.audio.fileCount && i < kMaxAudioFiles; ++i) {
    samples.push_back(static_cast<uint64_t>(info.samplesPerFile[i]));
  }
  return Json{{"fourcc", Code(info.audio.fourcc)},
              {"name", FieldText(info.audio.name, 64)},
              {"channelsPerFile", static_cast<int32_t>(info.audio.channelsPerFile)},
              {"sampleRate", static_cast<float>(info.audio.sampleRate)},
              {"bitsPerSample", static_cast<int32_t>(info.audio.bitsPerSample)},
              {"fileCount", static_cast<int32_t>(info.audio.fileCount)},
              {"samplesPerFile", samples}};
}

Json Document(OpenClip& clip, const std::string& path) {
  const NxMediaFileInfo& info = clip.info;
  Json document{{"class", ClassName(*clip.file, path)},
                {"name", FieldText(info.name, 64)},
                {"fourcc", Code(info.fourcc)},
                {"nativeFourcc", Code(info.nativeFourcc)},
                {"orientation", static_cast<uint32_t>(info.orientation)},
                {"width", static_cast<int32_t>(info.width)},
                {"height", static_cast<int32_t>(info.height)},
                {"bitDepth", static_cast<int32_t>(info.bitDepth)},
                {"imageBytes", static_cast<int32_t>(info.imageBytes)},
                {"frameBytes", static_cast<int32_t>(info.frameBytes)},
                {"imageOffset", static_cast<int32_t>(info.imageOffset)},
                {"linePitch", static_cast<int32_t>(info.linePitch)},
                {"linePixels", static_cast<int32_t>(info.linePixels)},
                {"parNum", static_cast<int32_t>(info.parNum)},
                {"parDen", static_cast<int32_t>(info.parDen)},
                {"fieldType", static_cast<int32_t>(info.fieldType)},
                {"timeScale", static_cast<int32_t>(info.timeScale)},
                {"timeRate", static_cast<int32_t>(info.timeRate)},
                {"frameCount", static_cast<int32_t>(info.frameCount)},
                {"streams", static_cast<uint32_t>(info.streams)},
                {"audio", Audio(info)},
                {"timecode", nullptr},
                {"dropFrame", nullptr},
                {"metadata", Metadata(info.metadata)}};
  NxTimeCodeRecord record = {};
  if (clip.file->ReadTimecode(0, &record) == NxErrSuccess) {
    document["timecode"] = TimecodeWordText(record.timeCode, record.dropFrame != 0);
    document["dropFrame"] = record.dropFrame != 0;
  }
  return document;
}

int RunInfo(CommandContext& context, const InfoOptions& options) {
  OpenClip clip;
  const NxErr result = OpenClipWithSound(options.clip, options.audioDir, &clip);
  if (result != NxErrSuccess) {
    return Fail(context, result, OpenClipWords(options.clip, result));
  }
  const Json document = Document(clip, options.clip);
  clip.file->Close();
  if (context.json) {
    PrintJson(document);
    return kExitDone;
  }
  for (const auto& [key, value] : document.items()) {
    const std::string text = value.is_string()
                                 ? value.get<std::string>()
                                 : value.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::printf("%-13s %s\n", key.c_str(), text.c_str());
  }
  return kExitDone;
}

}  // namespace

void AddInfoCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App* command = app.add_subcommand("info", "Tells what a clip on disk holds");
  command->add_option("clip", options->clip, "A frame of the clip, or a sound file")
      ->required()
      ->type_name("CLIP");
  command->add_option("--audio-dir", options->audioDir, "Folder of the sound");
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) { return RunInfo(run, *options); };
  });
}

}  // namespace morvane::tools
