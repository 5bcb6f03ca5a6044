#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "base/page_memory.h"
#include "capture/capture_engine.h"
#include "capture/engine_rig.h"

// What a capture refuses, what it survives, and what it leaves behind.
namespace morvane {
namespace {

using test::BarsMachine;
using test::FreshFolder;
using test::kNtscBytes;
using test::Listing;
using test::ReadWhole;

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string Text(const std::string& path) {
  const std::vector<uint8_t> bytes = ReadWhole(path);
  return {bytes.begin(), bytes.end()};
}

class CaptureRefusal : public test::EngineRig {
 protected:
  // Prepare fails so, leaves nothing new behind, and works once the cause is gone.
  void ExpectPrepare(NxErr result, const std::vector<std::string>& left = {}) {
    EXPECT_EQ(result, engine_->Prepare());
    EXPECT_FALSE(engine_->IsQueued());
    EXPECT_EQ(left, Listing(folder_));
    EXPECT_EQ(NxErrFailure, engine_->Start());
  }
};

TEST_F(CaptureRefusal, NothingHappensBeforeActivation) {
  CaptureEngine engine;
  EXPECT_EQ(NxErrFailure, engine.Prepare());
  EXPECT_EQ(NxErrFailure, engine.Start());
  EXPECT_EQ(NxErrFailure, engine.Activate());
  EXPECT_EQ(NxErrFailure, engine.Deactivate());
  EXPECT_EQ(NxErrFailure, engine.Close());
  engine.Stop();
  EXPECT_FALSE(engine.PreviewRound(nullptr));
  EXPECT_EQ(NxErrFailure, engine.SetClipName("x"));
  std::string text;
  EXPECT_EQ(NxErrFailure, engine.GetStyleText(0, &text));
  EXPECT_EQ("No Capture Style Found.", text);
}

TEST_F(CaptureRefusal, NoSignalIsNoInput) {
  ASSERT_NO_FATAL_FAILURE(Begin("[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"none\"\n"));
  ExpectPrepare(NxErrNoVideoInput);
  EXPECT_EQ("Video Input Not Detected", engine_->StatusText());
}

TEST_F(CaptureRefusal, AnotherFormatDoesNotMatch) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "", "625 50.00")));
  ExpectPrepare(NxErrVideoInputMismatch);
}

TEST_F(CaptureRefusal, AnExistingFolderIsKeptAsItIs) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  std::filesystem::create_directory(folder_ + "/clip");
  WriteText(folder_ + "/clip/mine.txt", "older");
  ExpectPrepare(NxErrCreateFolder, {"clip", "clip/mine.txt"});
  EXPECT_EQ("older", Text(folder_ + "/clip/mine.txt"));
  EXPECT_TRUE(engine_->HasLiveInput());
  ASSERT_EQ(NxErrSuccess, engine_->SetClipName("other"));
  EXPECT_EQ(NxErrSuccess, engine_->Prepare());
}

TEST_F(CaptureRefusal, AnExistingClipIsNeverOverwritten) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetFolderPerSequence(false));
  WriteText(folder_ + "/clip_000000.yuv", "older picture");
  ExpectPrepare(NxErrCreateVideoFile, {"clip_000000.yuv"});
  EXPECT_EQ("older picture", Text(folder_ + "/clip_000000.yuv"));
}

TEST_F(CaptureRefusal, AFrameInTheWayOfALaterOneIsNotOverwrittenEither) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetFolderPerSequence(false));
  WriteText(folder_ + "/clip_000002.yuv", "older picture");
  ASSERT_NO_FATAL_FAILURE(Run(4));
  EXPECT_EQ(4, engine_->FramesCaptured());
  EXPECT_GE(engine_->WritesFailed(), 1);
  EXPECT_EQ("File exists", engine_->FirstWriteError());
  EXPECT_EQ("older picture", Text(folder_ + "/clip_000002.yuv"));
  EXPECT_EQ(kNtscBytes, ReadWhole(folder_ + "/clip_000001.yuv").size());
}

TEST_F(CaptureRefusal, ExistingSoundIsNeverOverwritten) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  WriteText(folder_ + "/clip.wav", "older sound");
  ExpectPrepare(NxErrCreateAudioFile, {"clip.wav"});
  EXPECT_EQ("older sound", Text(folder_ + "/clip.wav"));
}

TEST_F(CaptureRefusal, AFolderThatIsNotThereIsRefused) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetVideoDirectory(folder_ + "/gone"));
  ExpectPrepare(NxErrCreateFolder);
  ASSERT_EQ(NxErrSuccess, engine_->SetFolderPerSequence(false));
  ExpectPrepare(NxErrCreateVideoFile);
}

TEST_F(CaptureRefusal, APathBelowAPlainFileIsRefused) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  WriteText(folder_ + "/plain", "a file");
  ASSERT_EQ(NxErrSuccess, engine_->SetVideoDirectory(folder_ + "/plain"));
  ExpectPrepare(NxErrCreateFolder, {"plain"});
  EXPECT_EQ("a file", Text(folder_ + "/plain"));
}

TEST_F(CaptureRefusal, AClipNameIsOneName) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  for (const char* name : {"../escaped", "a/b", ".", ".."}) {
    ASSERT_EQ(NxErrSuccess, engine_->SetClipName(name));
    ExpectPrepare(NxErrCreateFolder);
  }
  ASSERT_EQ(NxErrSuccess, engine_->SetFolderPerSequence(false));
  ASSERT_EQ(NxErrSuccess, engine_->SetClipName("../escaped"));
  ExpectPrepare(NxErrCreateVideoFile);
}

TEST_F(CaptureRefusal, WithoutMemoryForASlotNothingRemains) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  NxSetPageLimit(2 * 1048576);
  ExpectPrepare(NxErrAllocateFifo);
  NxSetPageLimit(SIZE_MAX);
  EXPECT_EQ(NxErrSuccess, engine_->Prepare());
}

TEST_F(CaptureRefusal, ACardThatCannotBeInitialisedLeavesNothing) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "refuse_init = true\n")));
  ExpectPrepare(NxErrInitAutoCirculate);
}

TEST_F(CaptureRefusal, ACardThatCannotBeStartedLeavesNothing) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "refuse_start = true\n")));
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  EXPECT_EQ(NxErrStartAutoCirculate, engine_->Start());
  EXPECT_FALSE(engine_->IsQueued());
  EXPECT_FALSE(engine_->IsCapturing());
  EXPECT_TRUE(engine_->HasLiveInput());
  EXPECT_TRUE(Listing(folder_).empty());
  EXPECT_EQ("clip", engine_->ClipNameText());
}

TEST_F(CaptureRefusal, AJobThatNeverRanLeavesNoFileAndKeepsItsName) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  EXPECT_EQ((std::vector<std::string>{"clip", "clip.wav", "clip/clip_000000.yuv"}),
            Listing(folder_));
  engine_->Stop();
  EXPECT_TRUE(Listing(folder_).empty());
  EXPECT_EQ("clip", engine_->ClipNameText());
}

TEST_F(CaptureRefusal, AJobStoppedBeforeItsFirstFrameLeavesNoFile) {
  // The input goes as the card starts, so that no frame ever comes.
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "lose_input_at = 0\n")));
  ASSERT_NO_FATAL_FAILURE(Launch());
  NxSleep(50);
  engine_->Stop();
  EXPECT_EQ(0, engine_->FramesCaptured());
  EXPECT_TRUE(Listing(folder_).empty());
  EXPECT_EQ("clip 01", engine_->ClipNameText());
}

TEST_F(CaptureRefusal, ASecondPrepareEndsTheFirstJob) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  EXPECT_TRUE(engine_->IsQueued());
}

TEST_F(CaptureRefusal, DroppedFramesAreTheCardsWhenItHadRoom) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "drop_at = [4, 7]\n")));
  ASSERT_NO_FATAL_FAILURE(Run(12));
  EXPECT_EQ(2U, engine_->FramesDropped());
  EXPECT_EQ(2U, engine_->Drops().card);
  EXPECT_EQ(0U, engine_->Drops().disk);
  EXPECT_EQ(0U, engine_->Drops().processor);
  EXPECT_FALSE(engine_->WasAborted());
  EXPECT_EQ(12, engine_->FramesCaptured());
}

TEST_F(CaptureRefusal, ADropEndsTheJobWhereThatIsAskedFor) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "drop_at = [6]\n")));
  ASSERT_EQ(NxErrSuccess, engine_->SetAbortOnDrop(true));
  ASSERT_NO_FATAL_FAILURE(Launch());
  ASSERT_NO_FATAL_FAILURE(PreviewUntil([&] { return engine_->HasEnded(); }));
  EXPECT_TRUE(engine_->WasAborted());
  EXPECT_LE(engine_->FramesCaptured(), 8);
  engine_->Stop();
  EXPECT_TRUE(engine_->WasAborted());
}

TEST_F(CaptureRefusal, FailedWritesAreCountedAndTheJobRunsOn) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_NO_FATAL_FAILURE(SetStyle("Video Only"));
  ASSERT_NO_FATAL_FAILURE(SetLength(12));
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  {
    const FileFault full(FileCall::kWrite, 6, ENOSPC, true);
    ASSERT_EQ(NxErrSuccess, engine_->Start());
    ASSERT_NO_FATAL_FAILURE(PreviewUntil([&] { return engine_->HasEnded(); }));
  }
  engine_->Stop();
  EXPECT_EQ(12, engine_->FramesCaptured());
  EXPECT_EQ(7, engine_->WritesFailed());
  EXPECT_EQ("No space left on device", engine_->FirstWriteError());
  // What was captured before is whole, and nothing half-written stands beside it.
  for (int frame = 0; frame < 5; ++frame) {
    EXPECT_EQ(kNtscBytes, ReadWhole(FramePath(frame)).size()) << frame;
  }
  EXPECT_FALSE(std::filesystem::exists(FramePath(5)));
}

TEST_F(CaptureRefusal, NoChoiceIsTakenDuringAJob) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  EXPECT_EQ(NxErrFailure, engine_->SetClipName("new"));
  EXPECT_EQ(NxErrFailure, engine_->SetReelName("new"));
  EXPECT_EQ(NxErrFailure, engine_->SetSequenceOffset("5"));
  EXPECT_EQ(NxErrFailure, engine_->SetFileType(0));
  EXPECT_EQ(NxErrFailure, engine_->SetStyle(0));
  EXPECT_EQ(NxErrFailure, engine_->SetVideoSubtype(0));
  EXPECT_EQ(NxErrFailure, engine_->SetAudioSubtype(0));
  EXPECT_EQ(NxErrFailure, engine_->SetAudioTracks(0));
  EXPECT_EQ(NxErrFailure, engine_->SetCaptureMode(1));
  EXPECT_EQ(NxErrFailure, engine_->SetDurationFrames(5));
  EXPECT_EQ(NxErrFailure, engine_->SetHandles(5));
  EXPECT_EQ(NxErrFailure, engine_->SetTimecodeOffset(5));
  EXPECT_EQ(NxErrFailure, engine_->SetVideoDirectory("/tmp"));
  EXPECT_EQ(NxErrFailure, engine_->SetAbortOnDrop(true));
  EXPECT_EQ(NxErrFailure, engine_->KeepSessionChoices());
  EXPECT_EQ("clip", engine_->ClipNameText());
  engine_->Stop();
  EXPECT_EQ(NxErrSuccess, engine_->SetClipName("new"));
}

TEST_F(CaptureRefusal, ChoicesAreClampedAndCompleted) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  EXPECT_EQ(NxErrSuccess, engine_->SetHandles(61));
  EXPECT_EQ(60, engine_->Settings().handles);
  EXPECT_EQ(NxErrSuccess, engine_->SetTimecodeOffset(-31));
  EXPECT_EQ(-30, engine_->Settings().timecodeOffset);
  EXPECT_EQ(NxErrSuccess, engine_->SetSequenceOffset("7"));
  EXPECT_EQ(u"0007", engine_->Settings().sequenceOffset.Get());
  EXPECT_EQ(NxErrSuccess, engine_->SetSequenceOffset(""));
  EXPECT_EQ(u"0000", engine_->Settings().sequenceOffset.Get());
  EXPECT_EQ(NxErrFailure, engine_->SetSequenceOffset("7a"));
  EXPECT_EQ(NxErrSuccess, engine_->SetClipName(""));
  EXPECT_EQ("Untitled Clip 01", engine_->ClipNameText());
  EXPECT_EQ(NxErrSuccess, engine_->SetReelName(""));
  EXPECT_EQ("Untitled", engine_->Settings().reelName.Get());
  EXPECT_EQ(NxErrSuccess, engine_->SetClipName(std::string(300, 'c')));
  EXPECT_EQ(std::string(250, 'c'), engine_->ClipNameText());
  EXPECT_EQ(NxErrSuccess, engine_->SetDurationFrames(0));
  EXPECT_EQ(1, engine_->Settings().durationFrames);
  EXPECT_EQ(NxErrFailure, engine_->SetClipName("\xFF"));
  EXPECT_EQ(NxErrFailure, engine_->SetVideoDirectory(std::string(3000, 'd')));
  EXPECT_EQ(NxErrSuccess, engine_->SetDisplaySize(5));
  EXPECT_EQ(NxErrFailure, engine_->SetDisplaySize(9));
}

TEST_F(CaptureRefusal, AChoiceBeyondItsListFallsBackToTheFirst) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetAudioSubtype(2));
  ASSERT_EQ(NxErrSuccess, engine_->SetAudioTracks(3));
  EXPECT_EQ(NxErrFailure, engine_->SetAudioSubtype(8));
  EXPECT_EQ(0, ChoicesOf(engine_->Settings()).audioSubtype);
  EXPECT_EQ(0, ChoicesOf(engine_->Settings()).audioTracks);
  ASSERT_EQ(NxErrSuccess, engine_->SetStyle(1));
  EXPECT_EQ(NxErrFailure, engine_->SetStyle(3));
  EXPECT_EQ(0, ChoicesOf(engine_->Settings()).style);
  EXPECT_EQ(NxErrFailure, engine_->SetVideoSubtype(1));
  EXPECT_EQ(NxErrFailure, engine_->SetAudioTracks(16));
  EXPECT_EQ(NxErrFailure, engine_->SetVideoQuality(50));
  EXPECT_EQ(NxErrFailure, engine_->SetCaptureMode(2)) << "in and out need a tape machine";
}

TEST_F(CaptureRefusal, ListsTellWhatThereIs) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  std::string text;
  EXPECT_EQ(2, engine_->GetNumCaptureModes());
  EXPECT_EQ(NxErrSuccess, engine_->GetCaptureModeText(1, &text));
  EXPECT_EQ("Capture Duration", text);
  EXPECT_EQ(NxErrFailure, engine_->GetCaptureModeText(2, &text));
  EXPECT_EQ("Cannot Capture.", text);
  EXPECT_EQ(NxErrSuccess, engine_->GetFileTypeText(7, &text));
  EXPECT_EQ("YUV Sequence", text);
  EXPECT_EQ(NxErrFailure, engine_->GetFileTypeText(8, &text));
  EXPECT_EQ("No File Type Name.", text);
  EXPECT_EQ(3, engine_->GetNumStyles());
  EXPECT_EQ(NxErrSuccess, engine_->GetStyleText(2, &text));
  EXPECT_EQ("Video - Audio", text);
  EXPECT_EQ(NxErrFailure, engine_->GetStyleText(3, &text));
  EXPECT_EQ("Cannot Capture to this File.", text);
  EXPECT_EQ(1, engine_->GetNumVideoSubtypes());
  EXPECT_EQ(NxErrSuccess, engine_->GetVideoSubtypeText(0, &text));
  EXPECT_EQ("8-bit YUV 4:2:2", text);
  EXPECT_EQ(NxErrFailure, engine_->GetVideoSubtypeText(1, &text));
  EXPECT_EQ("No Video Formats.", text);
  EXPECT_EQ(8, engine_->GetNumAudioSubtypes());
  EXPECT_EQ(NxErrSuccess, engine_->GetAudioSubtypeText(7, &text));
  EXPECT_EQ("48kHz 32-bit Float Stereo", text);
  EXPECT_EQ(NxErrFailure, engine_->GetAudioSubtypeText(8, &text));
  EXPECT_EQ("No Audio Formats.", text);
}

TEST_F(CaptureRefusal, SettingsAreSavedWhenTheEngineIsGivenBackAndOnlyThen) {
  ASSERT_NO_FATAL_FAILURE(BuildMachine(BarsMachine()));
  {
    CaptureEngine engine;
    ASSERT_EQ(NxErrSuccess, engine.Open(board_, CaptureStore::Keep));
    ASSERT_EQ(NxErrSuccess, engine.Activate());
    ASSERT_EQ(NxErrSuccess, engine.SetClipName("kept"));
    ASSERT_EQ(NxErrSuccess, engine.Deactivate());
    ASSERT_EQ(NxErrSuccess, engine.SetHandles(9));  // behind the save
  }
  CaptureEngine engine;
  ASSERT_EQ(NxErrSuccess, engine.Open(board_, CaptureStore::Ignore));
  EXPECT_EQ("Untitled Clip 01", engine.ClipNameText());
  ASSERT_EQ(NxErrSuccess, engine.Open(board_, CaptureStore::Keep));
  EXPECT_EQ("kept", engine.ClipNameText());
  EXPECT_EQ(0, engine.Settings().handles);
}

TEST_F(CaptureRefusal, AStoredInOutJobIsRefusedWithoutATapeMachine) {
  ASSERT_NO_FATAL_FAILURE(BuildMachine(BarsMachine()));
  {
    CaptureEngine engine;
    ASSERT_EQ(NxErrSuccess, engine.Open(board_, CaptureStore::Ignore));
    uint32_t index = 0;
    ASSERT_TRUE(engine.Session().FindItem(SessionFamily::VideoFormat, test::kNtsc, &index));
    ASSERT_TRUE(engine.Session().SetVideoFormat(index, true));
    ASSERT_EQ(NxErrSuccess, engine.KeepSessionChoices());
    CaptureSettings settings = engine.Settings();
    settings.captureMode = 2;
    settings.fileType = 7;
    std::string name;
    ASSERT_TRUE(engine.Session().GetBoardSuffix(&name));
    ASSERT_EQ(NxErrSuccess, SaveCaptureSettings(name, settings));
  }
  CaptureEngine engine;
  ASSERT_EQ(NxErrSuccess, engine.Open(board_, CaptureStore::Keep));
  ASSERT_EQ(NxErrSuccess, engine.Activate());
  EXPECT_EQ(NxErrVtrNotReady, engine.Prepare());
}

}  // namespace
}  // namespace morvane
