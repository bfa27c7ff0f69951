#include "ui/widgets/AlertBox.h"

#include "support/WindowDriver.h"
#include "ui/widgets/AlertBoxPresenter.h"
#include "ui/widgets/WidgetIds.h"

namespace korvane::test {
namespace {

class AlertBoxTest : public ::testing::Test {
protected:
    AlertBoxTest() { window_->show(); }

    AlertBox* present(Alert alert) {
        AlertBoxPresenter().present(alert, idOf(window_.get()),
                                    [this](int button) { answers_.append(button); });
        return window_->findChild<AlertBox*>();
    }
    static Alert question() {
        return {Alert::Kind::Question, u"Really?"_s, {}, {u"Yes"_s, u"No"_s, u"Cancel"_s}};
    }
    Alert passwordQuestion() {
        Alert alert = question();
        alert.field = {u"Enter the password"_s, true, [this](const QString& text) {
                           EXPECT_TRUE(answers_.isEmpty()) << "the text comes before the answer";
                           entered_.append(text);
                       }};
        return alert;
    }

    std::unique_ptr<QWidget> window_ = std::make_unique<QWidget>();
    QList<int> answers_;
    QStringList entered_;
};

TEST_F(AlertBoxTest, AFieldIsReadyToTypeAndItsTextComesWithTheFirstButton) {
    Alert alert = passwordQuestion();
    alert.field->option = u"Keep it"_s;
    alert.field->optionChosen = [this](bool isChosen) { EXPECT_TRUE(isChosen && !entered_.isEmpty()); };
    AlertBox* box = present(alert);
    auto* option = box->findChild<QCheckBox*>();
    ASSERT_TRUE(option);
    EXPECT_EQ(option->text(), u"Keep it"_s);
    option->click();
    auto* field = box->findChild<QLineEdit*>();
    ASSERT_TRUE(QTest::qWaitForWindowActive(box));
    EXPECT_EQ(QApplication::focusWidget(), field);
    EXPECT_EQ(field->echoMode(), QLineEdit::Password);
    EXPECT_EQ(field->placeholderText(), u"Enter the password"_s);
    EXPECT_EQ(field->accessibleName(), u"Enter the password"_s);
    for (const auto* button : box->findChildren<QPushButton*>())
        EXPECT_FALSE(field->geometry().intersects(QRect(button->mapTo(box, QPoint()), button->size())))
            << button->text().toStdString();
    EXPECT_GT(option->geometry().top(), field->geometry().bottom());
    QTest::keyClicks(field, u"geheim ß"_s);
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(entered_, QStringList{u"geheim ß"_s});
    EXPECT_EQ(answers_, QList<int>{0});
}

TEST_F(AlertBoxTest, TheTextOfAnotherAnswerIsNotHandedOn) {
    auto* field = present(passwordQuestion())->findChild<QLineEdit*>();
    QTest::keyClicks(field, u"half a pass"_s);
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_EQ(entered_, QStringList());
    EXPECT_EQ(answers_, QList<int>{2});
}

TEST_F(AlertBoxTest, AWindowThatClosesAnswersOnceWithTheLastButton) {
    Alert alert = question();
    int suppressed = 0;
    alert.suppress = [&] { ++suppressed; };
    AlertBox* box = present(alert);
    box->checkBox()->setChecked(true);
    window_->close();
    EXPECT_EQ(answers_, QList<int>{2});
    EXPECT_EQ(suppressed, 0) << "nobody has answered";
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    window_.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(answers_, QList<int>{2});
}

TEST_F(AlertBoxTest, AWindowThatIsDestroyedAnswersOnlyWhenItIsGone) {
    AlertBoxPresenter().present(question(), idOf(window_.get()), [this](int button) {
        EXPECT_FALSE(window_) << "whoever waits for the answer is half destroyed";
        answers_.append(button);
    });
    // The alert is not notified of the window's closing.
    window_->removeEventFilter(window_->findChild<AlertBox*>());
    window_.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(answers_, QList<int>{2});
}

TEST_F(AlertBoxTest, StandsOverItsWindowAndOverTheFrontOneWhenThatIsClosed) {
    auto* page = new QWidget(window_.get());
    const WindowId id = idOf(page);
    QWidget front;
    AlertBoxPresenter presenter([&front] { return &front; });
    const auto ask = [&] { presenter.present(question(), id, {}); };
    EXPECT_NE(id, idOf(window_.get()));
    ask();
    EXPECT_TRUE(window_->findChild<AlertBox*>(QString(), Qt::FindDirectChildrenOnly));
    EXPECT_FALSE(front.findChild<AlertBox*>());

    delete page;
    EXPECT_NE(idOf(&front), id) << "the id of a destroyed widget is used again";
    EXPECT_NE(idOf(&front), idOf(window_.get()));
    window_->hide();
    ask();
    EXPECT_TRUE(front.findChild<AlertBox*>());
}

} // namespace
} // namespace korvane::test
