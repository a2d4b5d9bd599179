// Name-value tables and selection sets.
#include <gtest/gtest.h>

#include "OndelTestUtil.h"
#include "sdifnamevaluetable.h"
#include "selectionset.h"

using namespace Ondel;

TEST(SDIFNameValueTable, SecondValueOfANameReplacesTheFirst) {
    SDIFNameValueTable t;
    EXPECT_EQ(t.AddNameValue("b", "1"), 1);
    EXPECT_EQ(t.AddNameValue("a", "2"), 2);
    EXPECT_EQ(t.AddNameValue("b", "3"), 2);
    EXPECT_EQ(t.GetValue("b"), "3");
    EXPECT_EQ(t.GetNbNameValue(), 2);
}

TEST(SDIFNameValueTable, MissingNameAnswersUnknownOrFalse) {
    SDIFNameValueTable t;
    t.AddNameValue("x", "y");
    EXPECT_EQ(t.GetValue("z"), "UNKNOWN NAME");
    std::string value = "kept";
    EXPECT_FALSE(t.GetValue("z", value));
    EXPECT_EQ(value, "kept");
    EXPECT_TRUE(t.GetValue("x", value));
    EXPECT_EQ(value, "y");
}

TEST(SDIFNameValueTable, PrintsEntriesInNameOrder) {
    SDIFNameValueTable t;
    t.AddNameValue("Zeta", "last");
    t.AddNameValue("Alpha", "first");
    EXPECT_EQ(testsupport::CaptureStdout([&] { t.PrintNameValueTable(); }),
              "Alpha\t\tfirst\nZeta\t\tlast\n");
    EXPECT_EQ(testsupport::CaptureStdout([&] { t.PrintNameValue("Nope"); }),
              "Nope\t\tUNKNOWN NAME\n");
}

TEST(SelectionSet, InactiveSetsAcceptEverything) {
    SelectionSet<unsigned int> none;
    EXPECT_TRUE(none.isSelected(12345));
    SelectionSet<unsigned int> fromEmpty(std::set<unsigned int>{}, true);
    EXPECT_FALSE(fromEmpty.IsActive());
    EXPECT_TRUE(fromEmpty.isSelected(0));
}

TEST(SelectionSet, ActiveSetAcceptsItsValuesAndAboveOnlyWithOpenEnd) {
    SelectionSet<unsigned int> s(std::set<unsigned int>{1, 3}, true);
    EXPECT_TRUE(s.IsActive());
    EXPECT_FALSE(s.IsOpenEnd());  // the argument is ignored
    EXPECT_TRUE(s.isSelected(1));
    EXPECT_TRUE(s.isSelected(3));
    EXPECT_FALSE(s.isSelected(2));
    EXPECT_FALSE(s.isSelected(4));
    s.SetOpenEnd(true);
    EXPECT_TRUE(s.isSelected(4));
    EXPECT_TRUE(s.isSelected(1000));
    EXPECT_FALSE(s.isSelected(2));
    SelectionSet<unsigned int> emptyActive;
    emptyActive.SetActive(true);
    emptyActive.SetOpenEnd(true);
    EXPECT_FALSE(emptyActive.isSelected(5));
}
