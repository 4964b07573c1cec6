#include "support/Passages.h"

using qor::QORStream;
using qor::StringUtilities;

TEST(QORStreamFiles, writesReadsBackTruncatesMovesKeepingTheFileAndNamesAFileItCannotOpen) {
  qortest::ScopedTempDir dir;
  {
    QORStream out("values.txt", QORStream::write, false);
    out << 3 << " " << 1.5 << std::endl << "second line" << std::endl;
    out.close();
    out.close();  // closing twice is harmless
  }
  QORStream in("values.txt", QORStream::read, 0, 1);
  int n = 0;
  double v = 0;
  in >> n >> v;
  EXPECT_EQ(std::make_pair(n, v), std::make_pair(3, 1.5));
  std::string line;
  ASSERT_TRUE(in.getline(line));  // rest of the first line
  ASSERT_TRUE(in.getline(line));
  EXPECT_EQ(line, "second line");
  EXPECT_FALSE(in.getline(line));
  EXPECT_TRUE(in.eof());
  { QORStream("t.txt", 2) << "long old content"; }
  {
    QORStream first("t.txt", 2);
    QORStream second(std::move(first));
    second << "new";
    EXPECT_EQ(second.fileName(), "t.txt");
  }
  EXPECT_EQ(qortest::readLines("t.txt"), std::vector<std::string>{"new"});
  // A file that cannot be opened is a data error naming it.
  const auto e = qortest::captureError<qor::data::error>([] { QORStream missing("missing.txt", QORStream::read); });
  EXPECT_EQ(e.getClassName(), "QORStream");
  EXPECT_NE(e.getMessage().find("missing.txt"), std::string::npos);
  EXPECT_THROW(QORStream("no/such/dir/out.txt", QORStream::write), qor::data::error);
  EXPECT_THROW(QORStream("x.txt", 7), qor::data::invalid);
}

TEST(StringUtilities, replacesEveryOccurrenceAndTerminatesOnEmptyOrSelfContainingPatterns) {
  EXPECT_EQ(StringUtilities::replaceSubstring("1,2,,3", ",", " "), "1 2  3");
  EXPECT_EQ(StringUtilities::replaceSubstring("aaa", "aa", "b"), "ba");
  EXPECT_EQ(StringUtilities::replaceSubstring("", ",", " "), "");
  EXPECT_EQ(StringUtilities::replaceSubstring("abc", "", "x"), "abc");
  EXPECT_EQ(StringUtilities::replaceSubstring("a.b", ".", ".."), "a..b");
  EXPECT_EQ(StringUtilities::replaceSubstring("xx", "x", "xyx"), "xyxxyx");
}
