// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <QAction>
#include <QSignalSpy>
#include <QTest>
#include <QtMath>

#include "shell/RowSamples.h"
#include "shell/StatusItem.h"

namespace corvanta {

/// What every host of the status item does. `Host` owns one item and stands for the user at it:
/// `item()`, `click(button)`, `point(inside)` and `pick(menu, action)`.
template <class Host>
class StatusItemContract : public testing::Test {
  protected:
    static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 20'000);
    }

    Host host_;
    StatusItem& item_ = host_.item();
};

TYPED_TEST_SUITE_P(StatusItemContract);

TYPED_TEST_P(StatusItemContract, hasNoWidthBeforeItsFirstRow) {
    EXPECT_EQ(this->item_.presentWidth(), 0);
    const StatusRow row = test::sampleRow();
    this->item_.setContent(row);
    EXPECT_EQ(this->item_.presentWidth(), row.width());
}

TYPED_TEST_P(StatusItemContract, knowsItsScreenAndScale) {
    EXPECT_NE(this->item_.screen(), nullptr);
    EXPECT_GE(this->item_.scale(), 1);
}

TYPED_TEST_P(StatusItemContract, sitsInTheUpperRightCornerAndGrowsToTheLeft) {
    this->item_.setContent(test::sampleRow());
    const std::optional<QRect> before = this->item_.anchorRect();
    ASSERT_TRUE(before);
    EXPECT_EQ(before->width(), qCeil(this->item_.presentWidth()));
    EXPECT_TRUE(this->item_.screen()->geometry().contains(*before));
    EXPECT_LE(this->item_.screen()->geometry().right() - before->right(), 8);
    this->item_.setContent(test::sampleRow(42, MemoryPressureLevel::normal, QStringLiteral("A longer word")));
    const std::optional<QRect> after = this->item_.anchorRect();
    ASSERT_TRUE(after);
    EXPECT_EQ(after->topRight(), before->topRight());
    EXPECT_GT(after->width(), before->width());
}

TYPED_TEST_P(StatusItemContract, tellsBothClicksApart) {
    this->item_.setContent(test::sampleRow());
    const QSignalSpy primary(&this->item_, &StatusItem::primaryClicked);
    const QSignalSpy secondary(&this->item_, &StatusItem::secondaryClicked);
    this->host_.click(Qt::LeftButton);
    ASSERT_TRUE(this->eventually([&] { return primary.count() == 1; }));
    EXPECT_EQ(secondary.count(), 0);
    this->host_.click(Qt::RightButton);
    ASSERT_TRUE(this->eventually([&] { return secondary.count() == 1; }));
    EXPECT_EQ(primary.count(), 1);
}

TYPED_TEST_P(StatusItemContract, tellsWhenThePointerComesAndGoes) {
    this->item_.setContent(test::sampleRow());
    this->host_.point(false);
    ASSERT_TRUE(this->eventually([&] { return !this->item_.pointerInside(); }));
    const QSignalSpy entered(&this->item_, &StatusItem::entered);
    const QSignalSpy left(&this->item_, &StatusItem::left);
    this->host_.point(true);
    ASSERT_TRUE(this->eventually([&] { return entered.count() == 1; }));
    EXPECT_TRUE(this->item_.pointerInside());
    EXPECT_EQ(left.count(), 0);
    this->host_.point(false);
    ASSERT_TRUE(this->eventually([&] { return left.count() == 1; }));
    EXPECT_FALSE(this->item_.pointerInside());
    EXPECT_EQ(entered.count(), 1);
}

TYPED_TEST_P(StatusItemContract, dropsAMenuWhoseActionsWork) {
    this->item_.setContent(test::sampleRow());
    QMenu menu;
    menu.addAction(QStringLiteral("Preferences..."));
    QAction* quit = menu.addAction(QStringLiteral("Quit Corvanta"));
    const QSignalSpy triggered(quit, &QAction::triggered);
    this->item_.popUpMenu(&menu);
    ASSERT_TRUE(this->eventually([&] { return menu.isVisible(); }));
    EXPECT_GE(menu.geometry().top(), this->item_.anchorRect()->bottom());
    this->host_.pick(menu, *quit);
    EXPECT_TRUE(this->eventually([&] { return triggered.count() == 1; }));
    EXPECT_TRUE(this->eventually([&] { return !menu.isVisible(); }));
}

REGISTER_TYPED_TEST_SUITE_P(StatusItemContract, hasNoWidthBeforeItsFirstRow, knowsItsScreenAndScale,
                            sitsInTheUpperRightCornerAndGrowsToTheLeft, tellsBothClicksApart,
                            tellsWhenThePointerComesAndGoes, dropsAMenuWhoseActionsWork);

}  // namespace corvanta
