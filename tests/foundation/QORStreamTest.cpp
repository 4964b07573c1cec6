#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "qor/foundation/Error.h"
#include "qor/foundation/QORStream.h"
#include "qor/foundation/StringUtilities.h"

using qor::QORStream;
using qor::StringUtilities;

namespace {

// Runs a test body inside a fresh temporary directory and restores the working directory.
class QORStreamFiles : public testing::Test {
 protected:
  void SetUp() override {
    char buffer[4096];
    ASSERT_NE(getcwd(buffer, sizeof buffer), nullptr);
    m_previous = buffer;
    char pattern[] = "/tmp/qorstreamXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    m_dir = pattern;
    ASSERT_EQ(chdir(m_dir.c_str()), 0);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(m_previous.c_str()), 0);
    std::system(("rm -rf '" + m_dir + "'").c_str());
  }
  std::string m_previous;
  std::string m_dir;
};

}  // namespace

TEST_F(QORStreamFiles, writesThenReadsBackLinesAndValues) {
  {
    QORStream out("values.txt", QORStream::write, false);
    out << 3 << " " << 1.5 << std::endl;
    out << "second line" << std::endl;
    out.close();
    out.close();  // closing twice is harmless
  }
  QORStream in("values.txt", QORStream::read, 0, 1);
  int n = 0;
  double v = 0;
  in >> n >> v;
  EXPECT_EQ(n, 3);
  EXPECT_EQ(v, 1.5);
  std::string line;
  ASSERT_TRUE(in.getline(line));  // rest of the first line
  ASSERT_TRUE(in.getline(line));
  EXPECT_EQ(line, "second line");
  EXPECT_FALSE(in.getline(line));
  EXPECT_TRUE(in.eof());
}

TEST_F(QORStreamFiles, writeModeTruncatesAndMoveKeepsTheFile) {
  { QORStream("t.txt", 2) << "long old content"; }
  {
    QORStream first("t.txt", 2);
    QORStream second(std::move(first));
    second << "new";
    EXPECT_EQ(second.fileName(), "t.txt");
  }
  QORStream in("t.txt", 1);
  std::string line;
  ASSERT_TRUE(in.getline(line));
  EXPECT_EQ(line, "new");
}

TEST_F(QORStreamFiles, fileThatCannotBeOpenedThrowsDataErrorNamingIt) {
  try {
    QORStream in("missing.txt", QORStream::read);
    FAIL() << "no exception";
  } catch (const qor::data::error& e) {
    EXPECT_EQ(e.getClassName(), "QORStream");
    EXPECT_NE(e.getMessage().find("missing.txt"), std::string::npos);
  }
  EXPECT_THROW(QORStream("no/such/dir/out.txt", QORStream::write), qor::data::error);
  EXPECT_THROW(QORStream("x.txt", 7), qor::data::invalid);
}

TEST(StringUtilities, replacesEveryOccurrence) {
  EXPECT_EQ(StringUtilities::replaceSubstring("1,2,,3", ",", " "), "1 2  3");
  EXPECT_EQ(StringUtilities::replaceSubstring("aaa", "aa", "b"), "ba");
  EXPECT_EQ(StringUtilities::replaceSubstring("", ",", " "), "");
}

TEST(StringUtilities, emptyPatternAndSelfContainingReplacementTerminate) {
  EXPECT_EQ(StringUtilities::replaceSubstring("abc", "", "x"), "abc");
  EXPECT_EQ(StringUtilities::replaceSubstring("a.b", ".", ".."), "a..b");
  EXPECT_EQ(StringUtilities::replaceSubstring("xx", "x", "xyx"), "xyxxyx");
}
