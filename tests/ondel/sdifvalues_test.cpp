// Name-value tables and selection sets.
#include <gtest/gtest.h>

#include "OndelTestUtil.h"
#include "sdifnamevaluetable.h"

using namespace Ondel;

// A second value of a name replaces the first; a missing name answers
// "UNKNOWN NAME", or false leaving the value alone; entries print in name order.
TEST(SDIFNameValueTable, NamesKeepTheirLastValueAndPrintInOrder) {
    SDIFNameValueTable t;
    EXPECT_EQ(t.AddNameValue("Zeta", "1"), 1);
    EXPECT_EQ(t.AddNameValue("Alpha", "first"), 2);
    EXPECT_EQ(t.AddNameValue("Zeta", "last"), 2);
    EXPECT_EQ(t.GetNbNameValue(), 2);
    EXPECT_EQ(t.GetValue("Zeta"), "last");
    EXPECT_EQ(t.GetValue("z"), "UNKNOWN NAME");
    std::string value = "kept";
    EXPECT_FALSE(t.GetValue("z", value));
    EXPECT_EQ(value, "kept");
    EXPECT_TRUE(t.GetValue("Alpha", value));
    EXPECT_EQ(value, "first");
    EXPECT_EQ(testsupport::CaptureStdout([&] { t.PrintNameValueTable(); }),
              "Alpha\t\tfirst\nZeta\t\tlast\n");
    EXPECT_EQ(testsupport::CaptureStdout([&] { t.PrintNameValue("Nope"); }),
              "Nope\t\tUNKNOWN NAME\n");
}

// Inactive sets accept everything; an active one its values, and values above
// its last only when open-ended.
TEST(SelectionSet, ActiveSetAcceptsItsValuesAndAboveOnlyWithOpenEnd) {
    EXPECT_TRUE(SelectionSet<unsigned int>().isSelected(12345));
    SelectionSet<unsigned int> fromEmpty(std::set<unsigned int>{}, true);
    EXPECT_FALSE(fromEmpty.IsActive());
    EXPECT_TRUE(fromEmpty.isSelected(0));
    SelectionSet<unsigned int> s(std::set<unsigned int>{1, 3}, true);
    EXPECT_TRUE(s.IsActive());
    EXPECT_FALSE(s.IsOpenEnd());  // the argument is ignored
    for (unsigned v : {1u, 2u, 3u, 4u}) EXPECT_EQ(s.isSelected(v), v % 2 == 1) << v;
    s.SetOpenEnd(true);
    for (unsigned v : {1u, 2u, 3u, 4u, 1000u}) EXPECT_EQ(s.isSelected(v), v != 2) << v;
    SelectionSet<unsigned int> emptyActive;
    emptyActive.SetActive(true);
    emptyActive.SetOpenEnd(true);
    EXPECT_FALSE(emptyActive.isSelected(5));
}
