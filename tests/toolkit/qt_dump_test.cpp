#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "gui_fixture.h"
#include "support/test_environment.h"
#include "toolkit/qt/desktop_signals.h"

namespace morvane::test {
namespace {

class UiDumpTest : public GuiTest {
 protected:
  // What the dump says of the window that NameNXWindow named so.
  static QJsonObject Dumped(const char* member) {
    const std::string path = FreshFolder("dump") + "/ui.json";
    EXPECT_TRUE(WriteUiDump(path));
    QFile file(QString::fromStdString(path));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonArray windows =
        QJsonDocument::fromJson(file.readAll()).object().value("windows").toArray();
    for (const auto& entry : windows) {
      if (entry.toObject().value("member").toString() == member) return entry.toObject();
    }
    ADD_FAILURE() << "no " << member;
    return {};
  }
};

TEST_F(UiDumpTest, ShownAndEnabledAreWhatAUserFinds) {
  RecordingWindow pane;
  pane.NameNXWindow("pane");
  Add(pane);
  NXCheckBox box;
  box.NameNXWindow("box");
  const NxRECT rect = {0, 0, 60, 20};
  ASSERT_EQ(NxErrSuccess, box.CreateNXWindow("box", 0, 1, 0, &rect, &pane));
  hands->Settle();
  EXPECT_TRUE(Dumped("box").value("shown").toBool());
  EXPECT_TRUE(Dumped("box").value("enabled").toBool());
  pane.EnableNXWindow(0, true);
  EXPECT_TRUE(Dumped("box").value("shown").toBool());
  EXPECT_FALSE(Dumped("box").value("enabled").toBool());
  pane.EnableNXWindow(1, true);
  root.EnableNXWindow(0, true);
  EXPECT_FALSE(Dumped("box").value("enabled").toBool());
  root.EnableNXWindow(1, true);
  box.EnableNXWindow(0, true);
  EXPECT_FALSE(Dumped("box").value("enabled").toBool());
  EXPECT_TRUE(Dumped("pane").value("enabled").toBool());
  box.EnableNXWindow(1, true);
  pane.ShowNXWindow(0, true);
  EXPECT_FALSE(Dumped("box").value("shown").toBool());
  EXPECT_TRUE(Dumped("box").value("enabled").toBool());
}

}  // namespace
}  // namespace morvane::test
