#include "Tollbrook/EmptyStates.h"

#include <QAction>
#include <QVBoxLayout>

#include "Tollbrook/Actions.h"
#include "Tollbrook/IconView.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/ShortcutButton.h"
#include "Tollbrook/TextLabel.h"

namespace tollbrook {
namespace {

using Icons::Symbol;
using Typography::TextStyle;

constexpr int edge = 24;
constexpr int between = 12;
constexpr int symbolPoints = 44;

TextLabel* centred(const QString& text, TextStyle style, TextLabel::Tone tone) {
  auto* label = new TextLabel(text, style, tone);
  label->setAlignment(Qt::AlignCenter);
  label->setWordWrap(true);
  return label;
}

TextLabel* fileName(const QString& name) {
  auto* label = new TextLabel(name, TextStyle::monospaced);
  label->setAlignment(Qt::AlignCenter);
  return label;
}

IconView* symbolView(Symbol symbol, const QString& name) {
  auto* view = new IconView(Icons::icon(symbol, Palette::amber), symbolPoints);
  view->setObjectName(name);
  return view;
}

QVBoxLayout* centredColumn(QWidget* view) {
  auto* column = new QVBoxLayout(view);
  column->setContentsMargins(edge, edge, edge, edge);
  column->setSpacing(between);
  return column;
}

}  // namespace

WelcomeView::WelcomeView(Actions& actions, QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("welcome"));
  auto* button = new ShortcutButton(tr("Choose Folder…"), actions.chooseFolder()->shortcut());
  button->setObjectName(QStringLiteral("welcomeButton"));
  button->setDefault(true);
  connect(button, &QAbstractButton::clicked, actions.chooseFolder(), &QAction::trigger);

  auto* names = new QVBoxLayout;
  names->setSpacing(6);
  names->addWidget(fileName(QStringLiteral("IMG_504.HEIC")));
  names->addWidget(fileName(QStringLiteral("IMG_504.HEIC.supplemental-metadata.json")));

  QVBoxLayout* const column = centredColumn(this);
  column->addStretch(1);
  column->addWidget(symbolView(Symbol::photoStack, QStringLiteral("welcomeSymbol")), 0, Qt::AlignHCenter);
  column->addWidget(centred(tr("Drop a download folder here"), TextStyle::title2, TextLabel::Tone::primary));
  column->addWidget(centred(tr("Pairs each photo with its JSON, for example:"), TextStyle::callout,
                            TextLabel::Tone::secondary));
  column->addLayout(names);
  column->addSpacing(between);
  column->addWidget(button, 0, Qt::AlignHCenter);
  column->addStretch(1);
}

NoMediaView::NoMediaView(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("noMedia"));
  QVBoxLayout* const column = centredColumn(this);
  column->addStretch(1);
  column->addWidget(symbolView(Symbol::photoAtAnAngle, QStringLiteral("noMediaSymbol")), 0, Qt::AlignHCenter);
  column->addWidget(centred(tr("No media found"), TextStyle::title2, TextLabel::Tone::primary));
  column->addWidget(centred(tr("This folder has no photos or videos Tollbrook recognises."),
                            TextStyle::callout, TextLabel::Tone::secondary));
  column->addStretch(1);
}

}  // namespace tollbrook
