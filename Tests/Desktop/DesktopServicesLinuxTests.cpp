#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDesktopServices>
#include <QFileDialog>
#include <QLineEdit>
#include <QTest>
#include <array>
#include <cstring>
#include <memory>
#include <optional>

#include "Desktop/Support/AppTest.h"
#include "Support/Program.h"
#include "Support/StandIn.h"
#include "Support/TemporaryFolder.h"
#include "Tollbrook/Desktop/FileManager.h"
#include "Tollbrook/Desktop/FolderChooser.h"
#include "Tollbrook/Desktop/KeepAwake.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A message bus for this program alone, in place of the system's and the session's.
class PrivateBus : public testing::Environment {
 public:
  void SetUp() override {
    test::writeFile(folder_ / "bus.conf", R"(<busconfig>
  <type>session</type>
  <listen>unix:path=)" + socket() + R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>)");
    daemon_ = std::make_unique<test::Program>(test::Program::Call{
        .program = "dbus-daemon",
        .arguments = {"--nofork", "--print-address", "--config-file=" + (folder_ / "bus.conf").string()}});
    // It prints its address once it listens; its socket is there before that.
    if (!test::eventually([this] { return !daemon_->output().empty() || !daemon_->isRunning(); }) ||
        !daemon_->isRunning()) {
      daemon_.reset();
      return;
    }
    const QByteArray address = "unix:path=" + QByteArray::fromStdString(socket());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
  }

  bool isRunning() const { return daemon_ != nullptr; }

 private:
  std::string socket() const { return (folder_ / "bus").string(); }

  test::TemporaryFolder folder_;
  std::unique_ptr<test::Program> daemon_;
};

auto* const bus = dynamic_cast<PrivateBus*>(testing::AddGlobalTestEnvironment(new PrivateBus));

// What logind does with an inhibitor: hands out one end of a pipe, and the lock is held until that is closed.
class MockLogind : public QObject, protected QDBusContext {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

 public:
  bool isInhibited() {
    char byte;
    return lock_ && read(lock_.get(), &byte, 1) < 0 && errno == EAGAIN;
  }

  QStringList asked;
  bool answersLate = false;
  std::optional<QDBusMessage> open;

  void answer() {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    lock_ = Files::Descriptor(ends[0]);
    const Files::Descriptor handedOut(ends[1]);
    connection_->send(open->createReply(QVariant::fromValue(QDBusUnixFileDescriptor(handedOut.get()))));
    open.reset();
  }

 public Q_SLOTS:
  QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& why,
                                  const QString& mode) {
    asked = QStringList{what, who, why, mode};
    connection_ = connection();
    setDelayedReply(true);
    open = message();
    if (!answersLate) answer();
    return {};
  }

 private:
  std::optional<QDBusConnection> connection_;
  Files::Descriptor lock_;
};

class MockFileManager : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

 public:
  std::vector<QStringList> shown;

 public Q_SLOTS:
  void ShowItems(const QStringList& uris, const QString&) { shown.push_back(uris); }
};

// A program that opens folders.
class FolderOpener : public QObject {
  Q_OBJECT

 public:
  FolderOpener() { QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "take"); }
  ~FolderOpener() override { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }

  std::vector<QUrl> opened;

 public Q_SLOTS:
  void take(const QUrl& url) { opened.push_back(url); }
};

// An object on the bus, under a name, on a connection of its own as in a program of its own.
class Service {
 public:
  Service(const char* name, const char* objectPath, QObject& object)
      : name_(QLatin1String(name)),
        connection_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name_)) {
    EXPECT_TRUE(
        connection_.registerObject(QLatin1String(objectPath), &object, QDBusConnection::ExportAllSlots));
    EXPECT_TRUE(connection_.registerService(name_));
  }
  ~Service() { QDBusConnection::disconnectFromBus(name_); }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

 private:
  const QString name_;
  QDBusConnection connection_;
};

class DesktopServicesTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!bus->isRunning()) GTEST_SKIP() << "dbus-daemon is not installed: nothing was tested here";
  }
};

class KeepAwakeTest : public DesktopServicesTest {
 protected:
  Service serve() { return {"org.freedesktop.login1", "/org/freedesktop/login1", logind_}; }

  MockLogind logind_;
};

TEST_F(KeepAwakeTest, HoldsAnInhibitorAsLongAsTheActivityLasts) {
  const Service service = serve();
  auto activity = systemKeepAwake()->begin("Tollbrook is writing photo metadata"_s);
  EXPECT_TRUE(waitUntil([this] { return logind_.isInhibited(); }));
  EXPECT_THAT(logind_.asked,
              ElementsAre("idle:sleep"_s, "Tollbrook"_s, "Tollbrook is writing photo metadata"_s, "block"_s));
  QTest::qWait(20);
  EXPECT_TRUE(logind_.isInhibited());
  activity.reset();
  EXPECT_TRUE(waitUntil([this] { return !logind_.isInhibited(); }));
}

TEST_F(KeepAwakeTest, LetsGoOfAnInhibitorThatComesTooLate) {
  logind_.answersLate = true;
  const Service service = serve();
  auto activity = systemKeepAwake()->begin("writing"_s);
  ASSERT_TRUE(waitUntil([this] { return logind_.open.has_value(); }));
  activity.reset();
  logind_.answer();
  EXPECT_TRUE(waitUntil([this] { return !logind_.isInhibited(); }));
}

TEST_F(KeepAwakeTest, GoesOnWithoutLogind) {
  auto activity = systemKeepAwake()->begin("writing"_s);
  QTest::qWait(20);
  EXPECT_NE(activity, nullptr);
  activity.reset();
  EXPECT_THAT(logind_.asked, IsEmpty());
}

// A bus that lets programs connect and never says a word to them.
class HangingBus {
 public:
  HangingBus() {
    const std::string socketPath = (folder_ / "bus").string();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(socket_.get(), 1), 0);
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + QByteArray::fromStdString(socketPath));
  }
  ~HangingBus() { qputenv("DBUS_SYSTEM_BUS_ADDRESS", before_); }
  HangingBus(const HangingBus&) = delete;
  HangingBus& operator=(const HangingBus&) = delete;

  // Whether a program has connected.
  bool isAsked() {
    if (!caller_) caller_ = Files::Descriptor(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    return static_cast<bool>(caller_);
  }

 private:
  const QByteArray before_ = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
  const test::TemporaryFolder folder_;
  const Files::Descriptor socket_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
  Files::Descriptor caller_;
};

// Where it waited, this would never end.
TEST_F(KeepAwakeTest, DoesNotWaitForABusThatHangs) {
  HangingBus hanging;
  auto activity = systemKeepAwake()->begin("writing"_s);
  EXPECT_TRUE(waitUntil([&] { return hanging.isAsked(); }));
  activity.reset();
}

class FileManagerTest : public DesktopServicesTest {
 protected:
  FolderOpener opener_;
};

TEST_F(FileManagerTest, ShowsTheFileSelected) {
  MockFileManager manager;
  const Service service("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1", manager);
  systemFileManager()->reveal("/photos/50% #1 caf\xe9.jpg");
  ASSERT_TRUE(waitUntil([&] { return !manager.shown.empty(); }));
  EXPECT_THAT(manager.shown, ElementsAre(ElementsAre("file:///photos/50%25%20%231%20caf%E9.jpg"_s)));
  EXPECT_THAT(opener_.opened, IsEmpty());
}

TEST_F(FileManagerTest, OpensTheFolderWhereNoFileManagerAnswers) {
  systemFileManager()->reveal("/photos/album/a.jpg");
  ASSERT_TRUE(waitUntil([this] { return !opener_.opened.empty(); }));
  EXPECT_THAT(opener_.opened, ElementsAre(QUrl("file:///photos/album"_s)));
}

class FolderChooserTest : public testing::Test {
 protected:
  FolderChooserTest() { QApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }

  static QFileDialog* dialog() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
      if (auto* found = qobject_cast<QFileDialog*>(window); found && found->isVisible()) return found;
    }
    return nullptr;
  }

  void choose() {
    chooser_->choose("Choose"_s, "Pick a folder."_s,
                     [this](const path& folder) { chosen_.push_back(folder); });
  }

  const test::TemporaryFolder temporary_;
  const std::unique_ptr<FolderChooser> chooser_ = systemFolderChooser();
  std::vector<path> chosen_;
};

TEST_F(FolderChooserTest, AsksForOneFolder) {
  choose();
  ASSERT_NE(dialog(), nullptr);
  EXPECT_EQ(dialog()->fileMode(), QFileDialog::Directory);
  EXPECT_TRUE(dialog()->testOption(QFileDialog::ShowDirsOnly));
  EXPECT_THAT(dialog()->supportedSchemes(), ElementsAre("file"_s));
  EXPECT_EQ(dialog()->labelText(QFileDialog::Accept), "Choose"_s);
  EXPECT_EQ(dialog()->windowTitle(), "Pick a folder."_s);
  EXPECT_TRUE(dialog()->isModal());
  dialog()->setDirectory(Paths::shown(temporary_.path()));
  dialog()->findChild<QLineEdit*>()->setText(Paths::shown(temporary_.path()));
  static_cast<QDialog*>(dialog())->accept();
  EXPECT_THAT(chosen_, ElementsAre(temporary_.path()));
}

TEST_F(FolderChooserTest, BeginsWhereAFolderWasChosenLast) {
  const path folder = temporary_ / "photos";
  std::filesystem::create_directory(folder);
  choose();
  dialog()->setDirectory(Paths::shown(temporary_.path()));
  dialog()->selectFile(Paths::shown(folder));
  static_cast<QDialog*>(dialog())->accept();
  ASSERT_THAT(chosen_, ElementsAre(folder));
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  choose();
  EXPECT_EQ(dialog()->directory().absolutePath(), Paths::shown(folder.parent_path()));
  dialog()->reject();
}

TEST_F(FolderChooserTest, SaysNothingWhenItIsCancelled) {
  choose();
  dialog()->reject();
  EXPECT_EQ(dialog(), nullptr);
  EXPECT_THAT(chosen_, IsEmpty());
}

TEST_F(FolderChooserTest, AsksOnceAtATime) {
  choose();
  const QFileDialog* first = dialog();
  choose();
  EXPECT_EQ(dialog(), first);
  dialog()->reject();
  EXPECT_EQ(dialog(), nullptr);
}

}  // namespace
}  // namespace tollbrook

#include "DesktopServicesLinuxTests.moc"
