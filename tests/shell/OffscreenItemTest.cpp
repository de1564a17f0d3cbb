// SPDX-License-Identifier: Apache-2.0
#include "shell/OffscreenItem.h"

#include <gtest/gtest.h>

#include "shell/StatusItemContract.h"

namespace corvanta {
namespace {

class OffscreenHost {
  public:
    StatusItem& item() { return item_; }
    void click(Qt::MouseButton button) { item_.click(button); }
    void point(bool inside) { item_.setPointerInside(inside); }
    void pick(QMenu& menu, QAction& action) {
        QTest::mouseClick(&menu, Qt::LeftButton, {}, menu.actionGeometry(&action).center());
    }

  private:
    OffscreenItem item_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Offscreen, StatusItemContract, OffscreenHost);

TEST(OffscreenItemTest, canDoEverything) {
    EXPECT_EQ(OffscreenItem().caps(), (StatusCaps{.row = true, .hover = true, .anchor = true, .fade = true}));
}

TEST(OffscreenItemTest, remembersEveryCallAndItsLastValue) {
    OffscreenItem item;
    const StatusRow first = test::sampleRow(1);
    const StatusRow second = test::sampleRow(2);
    item.setContent(first);
    item.setContent(second);
    item.setToolTip([] { return QStringLiteral("one"); });
    item.setToolTip([] { return QStringLiteral("two"); });
    item.setAlpha(0.25);
    QMenu menu;
    menu.addAction(QStringLiteral("Quit"));
    item.popUpMenu(&menu);
    const OffscreenItem::Calls& calls = item.calls();
    EXPECT_EQ(calls.setContent, 2);
    EXPECT_EQ(calls.row, second);
    EXPECT_EQ(calls.setToolTip, 2);
    EXPECT_EQ(item.toolTip(), QStringLiteral("two"));
    EXPECT_EQ(calls.setAlpha, 1);
    EXPECT_EQ(calls.alpha, 0.25);
    EXPECT_EQ(calls.popUpMenu, 1);
    EXPECT_EQ(calls.menu, &menu);
}

TEST(OffscreenItemTest, asksForItsToolTipOnlyWhenItIsShown) {
    OffscreenItem item;
    EXPECT_TRUE(item.toolTip().isEmpty());
    int asked = 0;
    item.setToolTip([&] { return QString::number(++asked); });
    item.setContent(test::sampleRow());
    item.setPointerInside(true);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(item.toolTip(), QStringLiteral("1"));
    EXPECT_EQ(item.toolTip(), QStringLiteral("2"));
}

TEST(OffscreenItemTest, drawsTheRowAsItIsSet) {
    OffscreenItem item;
    EXPECT_TRUE(item.image().isNull());
    item.setContent(test::sampleRow());
    EXPECT_EQ(item.image(), renderRow(test::sampleRow(), 24, 1));
}

TEST(OffscreenItemTest, drawsAnewForAnotherScale) {
    OffscreenItem item;
    item.setContent(test::sampleRow());
    const QSignalSpy changed(&item, &StatusItem::scaleChanged);
    item.setScale(2);
    item.setScale(2);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(item.image().height(), 48);
}

TEST(OffscreenItemTest, tellsAChangeOfAppearanceOnce) {
    OffscreenItem item;
    const QSignalSpy changed(&item, &StatusItem::appearanceChanged);
    item.setAppearance(Appearance::light);
    item.setAppearance(Appearance::light);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(item.appearance(), Appearance::light);
}

TEST(OffscreenItemTest, otherButtonsDoNothing) {
    OffscreenItem item;
    const QSignalSpy primary(&item, &StatusItem::primaryClicked);
    const QSignalSpy secondary(&item, &StatusItem::secondaryClicked);
    item.click(Qt::MiddleButton);
    EXPECT_EQ(primary.count() + secondary.count(), 0);
}

}  // namespace
}  // namespace corvanta
