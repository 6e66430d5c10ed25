#include "Tollbrook/FolderCard.h"

#include <QHBoxLayout>
#include <QPainter>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/Card.h"
#include "Tollbrook/ElidedLabel.h"
#include "Tollbrook/IconView.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/Paths.h"
#include "Tollbrook/Style.h"

namespace tollbrook {

using Icons::Symbol;
using Typography::TextStyle;

FolderCard::FolderCard(QWidget* parent)
    : QAbstractButton(parent),
      name_(new ElidedLabel(QString(), TextStyle::bodySemibold, TextLabel::Tone::primary, this)),
      request_(new TextLabel(tr("Choose a folder"), TextStyle::bodySemibold, TextLabel::Tone::primary, this)),
      hint_(new TextLabel(tr("Google Takeout unzip, or a Ferrywell download."), TextStyle::callout,
                          TextLabel::Tone::secondary, this)) {
  setObjectName(QStringLiteral("folderCard"));
  setFocusPolicy(Qt::StrongFocus);
  setAttribute(Qt::WA_Hover);
  setCursor(Qt::PointingHandCursor);
  // A button would else never get narrower than a long name asks for.
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
  name_->setObjectName(QStringLiteral("folderName"));
  request_->setObjectName(QStringLiteral("folderRequest"));
  request_->setWordWrap(true);
  hint_->setObjectName(QStringLiteral("folderHint"));
  hint_->setWordWrap(true);
  // The card is the button, whichever part of it is under the pointer.
  name_->setAttribute(Qt::WA_TransparentForMouseEvents);
  request_->setAttribute(Qt::WA_TransparentForMouseEvents);
  hint_->setAttribute(Qt::WA_TransparentForMouseEvents);

  auto* words = new QVBoxLayout;
  words->setSpacing(2);
  words->addWidget(name_);
  words->addWidget(request_);
  words->addWidget(hint_);
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(8, 12, 8, 12);
  row->setSpacing(10);
  row->addSpacing(4);
  auto* symbol = new IconView(Icons::icon(Symbol::folder, Palette::amber), 20, this);
  symbol->setObjectName(QStringLiteral("folderSymbol"));
  row->addWidget(symbol);
  row->addLayout(words, 1);
  auto* chevron = new IconView(Icons::icon(Symbol::chevron), 16, this);
  chevron->setObjectName(QStringLiteral("folderChevron"));
  chevron->pointOnwards();
  row->addWidget(chevron);
  setFolder(std::nullopt);
}

void FolderCard::setFolder(const std::optional<std::filesystem::path>& folder) {
  if (folder) name_->setFullText(Paths::shownName(*folder));
  name_->setVisible(folder.has_value());
  request_->setVisible(!folder);
  hint_->setVisible(!folder);
  setToolTip(folder ? Paths::toolTip(Paths::shown(*folder)) : QString());
  setAccessibleName(folder ? name_->fullText() : request_->text());
  setAccessibleDescription(folder ? Paths::shown(*folder) : hint_->text());
  updateGeometry();
}

void FolderCard::paintEvent(QPaintEvent*) {
  const Appearance& shades = Appearance::current();
  const bool touched = isDown() || underMouse();
  Card::paint(*this, 10, touched ? answered(shades.surface, shades.text, isDown()) : shades.surface);
  QPainter painter(this);
  Style::drawFocus(painter, *this, rect());
}

}  // namespace tollbrook
