#include <benchmark/benchmark.h>

#include <QApplication>
#include <QHeaderView>
#include <QImage>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "Tollbrook/Style.h"
#include "Tollbrook/TollbrookApp.h"
#include "TollbrookCore/JobJournal.h"

// One page further in a list of 4000 rows, painted: the application's table, and beside it one of Qt's own,
// of the same size and font, that shows the same texts.
namespace {

constexpr int rows = 4000;

void scroll(benchmark::State& state, QTableView& table) {
  QImage image(table.viewport()->size(), QImage::Format_ARGB32_Premultiplied);
  QScrollBar& bar = *table.verticalScrollBar();
  for (auto _ : state) {
    bar.setValue(bar.value() == bar.maximum() ? 0 : bar.value() + bar.pageStep());
    table.viewport()->render(&image);
  }
}

void makePhotos(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  for (int number = 0; number < rows; ++number) {
    const std::string name = "IMG_" + std::to_string(number) + ".jpg";
    std::ofstream(folder / name) << "";
    std::ofstream(folder / (name + ".json")) << R"({"photoTakenTime": {"timestamp": "1425445567"}})";
  }
}

QStandardItemModel* copied(const QAbstractItemModel& from, QObject* parent) {
  auto* model = new QStandardItemModel(from.rowCount(), from.columnCount(), parent);
  for (int row = 0; row < from.rowCount(); ++row) {
    for (int column = 0; column < from.columnCount(); ++column) {
      model->setData(model->index(row, column), from.index(row, column).data());
    }
  }
  return model;
}

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setStyle(new tollbrook::Style);
  benchmark::Initialize(&argc, argv);

  const QTemporaryDir temporary;
  const std::filesystem::path folder = temporary.path().toStdString();
  tollbrook::JobJournal::setBaseDirectoryOverride(folder / "jobs");
  makePhotos(folder / "photos");
  tollbrook::TollbrookApp app;
  app.open(folder / "photos");
  if (!QTest::qWaitFor([&] { return app.model().report() && !app.model().isScanning(); }, 60000)) {
    return EXIT_FAILURE;
  }
  QTest::qWait(100);
  auto* table = app.window().findChild<QTableView*>();

  QTableView plain;
  plain.setModel(copied(*table->model(), &plain));
  plain.resize(table->size());
  plain.verticalHeader()->hide();
  plain.verticalHeader()->setDefaultSectionSize(table->rowHeight(0));
  plain.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  plain.show();
  QTest::qWait(100);

  benchmark::RegisterBenchmark("plain", [&](benchmark::State& state) { scroll(state, plain); });
  benchmark::RegisterBenchmark("tollbrook", [&](benchmark::State& state) { scroll(state, *table); });
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}
