#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "telvo/owner/Login.h"

namespace {

class Netrc : public testing::Test {
 protected:
  ~Netrc() override { std::filesystem::remove(path_); }

  void write(const std::string& text, unsigned mode = 0600) {
    std::ofstream(path_) << text;
    std::filesystem::permissions(path_, static_cast<std::filesystem::perms>(mode));
  }

  std::string login(const std::string& host, const std::string& user = {}) {
    const auto found = telvo::loginFromNetrc(host, user);
    return found ? found->user + ":" + found->password : "(none)";
  }

  std::string path_ = std::string(std::getenv("HOME")) + "/.netrc";
};

TEST_F(Netrc, NoFileIsNoLogin) { EXPECT_EQ(login("host"), "(none)"); }

TEST_F(Netrc, HasLoginsByHost) {
  write("machine one login anna password a1\nmachine two\n\tlogin bert\n\tpassword b2\n");
  EXPECT_EQ(login("one"), "anna:a1");
  EXPECT_EQ(login("two"), "bert:b2");
  EXPECT_EQ(login("three"), "(none)");
}

TEST_F(Netrc, TheCaseOfAHostMeansNothing) {
  write("machine FTP.example.com login anna password a1\n");
  EXPECT_EQ(login("ftp.EXAMPLE.com"), "anna:a1");
}

TEST_F(Netrc, AUserGetsNobodyElsesPassword) {
  write("machine one login anna password a1\nmachine one login bert password b2\nmachine one password any\n");
  EXPECT_EQ(login("one", "bert"), "bert:b2");
  EXPECT_EQ(login("one", "carl"), "carl:any");
  EXPECT_EQ(login("two", "anna"), "(none)");
}

TEST_F(Netrc, TheDefaultIsForEveryOtherHost) {
  write("machine one login anna password a1\ndefault login guest password g3\n");
  EXPECT_EQ(login("one"), "anna:a1");
  EXPECT_EQ(login("two"), "guest:g3");
}

TEST_F(Netrc, UnderstandsQuotesCommentsAndMacros) {
  write(
      "# machine no login x password y\nmacdef init\ncd /x\nmachine two login evil password z\n\n"
      "machine one login \"an na\" account acc password \"a \\\"1\\\" # \\\\\"\n");
  EXPECT_EQ(login("one"), "an na:a \"1\" # \\");
  EXPECT_EQ(login("two"), "(none)");
}

TEST_F(Netrc, AFileThatEndsEarlyIsNoTrouble) {
  for (const char* const text : {"machine", "machine one login", "password", "machine one password \"abc", "macdef"}) {
    write(text);
    EXPECT_EQ(login("other"), "(none)") << text;
  }
}

TEST_F(Netrc, IsNotUsedWhenOthersMayReadIt) {
  for (const unsigned mode : {0640U, 0604U, 0644U}) {
    write("machine one login anna password a1\n", mode);
    try {
      login("one");
      ADD_FAILURE() << "was used";
    } catch (const std::runtime_error& error) {
      EXPECT_NE(std::string(error.what()).find("chmod 600"), std::string::npos);
    }
  }
}

}  // namespace
