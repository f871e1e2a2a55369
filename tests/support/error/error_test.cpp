#include "support/error/error.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

// The type and text a call throws, as "<branch>: <what>" for the branches
// that callers catch.
template <class Branch> bool throwsAs(const std::function<void()>& call, std::string* text = nullptr) {
    try {
        call();
    } catch (const Branch& e) {
        if (text)
            *text = e.what();
        return true;
    } catch (...) {
        return false;
    }
    return false;
}

TEST(Win32Errors, MapToTheTree) {
    struct Case {
        uint32_t code;
        const char* text;
    } cases[] = {{0, "file access error"},      {2, "file not found"},          {3, "file not found"},
                 {5, "file access error"},      {32, "file access error"},      {80, "file already exists"},
                 {183, "file already exists"},  {145, "directory not empty"},   {109, "file access error"}};
    for (const Case& c : cases) {
        std::string text;
        EXPECT_TRUE(throwsAs<Qz::file_access_error>([&] { Qz::throwWin32Error(c.code); }, &text)) << c.code;
        EXPECT_EQ(text, c.text) << c.code;
    }
    EXPECT_TRUE(throwsAs<Qz::file_not_found>([] { Qz::throwWin32Error(3); }));
    EXPECT_TRUE(throwsAs<Qz::file_already_exists>([] { Qz::throwWin32Error(80); }));
    EXPECT_TRUE(throwsAs<Qz::directory_not_empty>([] { Qz::throwWin32Error(145); }));
    EXPECT_FALSE(throwsAs<Qz::file_not_found>([] { Qz::throwWin32Error(5); }));
}

TEST(ExceptionTree, BranchesCatchWhatTheyShould) {
    // invalid_input covers the proxy URL but not the HTTP tree's bad URL.
    EXPECT_TRUE(throwsAs<Qz::invalid_input>([] { throw Qz::invalid_proxy_url(); }));
    EXPECT_TRUE(throwsAs<Qz::invalid_url>([] { throw Qz::invalid_proxy_url(); }));
    EXPECT_FALSE(throwsAs<Qz::invalid_input>([] { throw Qz::httpRequest_errors::bad_url(); }));
    EXPECT_TRUE(throwsAs<Qz::httpRequest_errors::error>([] { throw Qz::httpRequest_errors::auth_error(); }));
    // A retry loop catches network failures, never an abort or a TLS failure.
    EXPECT_TRUE(throwsAs<Qz::network_error>([] { throw Qz::network_error_timeout(); }));
    EXPECT_TRUE(throwsAs<Qz::network_error>([] { throw Qz::network_error_connect(); }));
    EXPECT_FALSE(throwsAs<Qz::network_error>([] { throw Qz::user_abort(); }));
    EXPECT_FALSE(throwsAs<Qz::network_error>([] { throw Qz::exception_network_authentication(); }));
    EXPECT_TRUE(throwsAs<std::overflow_error>([] { throw Qz::overflow(); }));
    EXPECT_TRUE(throwsAs<std::runtime_error>([] { throw Qz::overflow(); }));
    EXPECT_STREQ(Qz::httpRequest_errors::bad_url().what(), "invalid URL");
    EXPECT_STREQ(Qz::invalid_url().what(), "invalid URL");
    EXPECT_STREQ(Qz::httpRequest_errors::invalid_reply().what(), "invalid server response");
    EXPECT_STREQ(Qz::network_error_timeout().what(), "network timeout");
    EXPECT_STREQ(Qz::bug_check().what(), "bug check");
}

TEST(BuiltTexts, SocketConnectAndStatus) {
    std::string text;
    EXPECT_TRUE(throwsAs<Qz::network_error>([] { Qz::throwSocketError(uint32_t(-5)); }, &text));
    EXPECT_EQ(text, "network error (-5)");
    EXPECT_TRUE(throwsAs<Qz::network_error>([] { Qz::throwSocketError(10060); }, &text));
    EXPECT_EQ(text, "network error (10060)");

    EXPECT_TRUE(throwsAs<Qz::network_error_connect>(
        [] { Qz::rethrowAsConnectError(Qz::network_error_timeout()); }, &text));
    EXPECT_EQ(text, "could not connect: network timeout");
    // Already a connect failure: passed on without a second prefix.
    EXPECT_TRUE(throwsAs<Qz::network_error_connect>(
        [] { Qz::rethrowAsConnectError(Qz::network_error_connect("could not connect: refused")); }, &text));
    EXPECT_EQ(text, "could not connect: refused");

    EXPECT_EQ(Qz::httpStatusText("Not Found", 404), "Not Found (404)");
    EXPECT_EQ(Qz::httpStatusText("", 500), "Unspecified HTTP Response (500)");
}

TEST(BuiltTexts, SecurityStatuses) {
    std::string text;
    // The one status that is a network failure, and so retried.
    EXPECT_TRUE(throwsAs<Qz::network_error>([] { Qz::throwSecurityError(0x80090318u); }, &text));
    EXPECT_EQ(text, "network error");

    EXPECT_TRUE(throwsAs<Qz::exception_network_authentication>([] { Qz::throwSecurityError(0x80090325u); }, &text));
    EXPECT_EQ(text.substr(0, 28), "Network authentication error");
    EXPECT_EQ(text.substr(text.size() - 10), "(80090325)") << text;
    EXPECT_TRUE(text.size() == 39 || text.compare(28, 2, ": ") == 0) << "system text, if any, after a colon: " << text;

    EXPECT_TRUE(throwsAs<Qz::exception_network_authentication>([] { Qz::throwSecurityError(0x12u); }, &text));
    EXPECT_EQ(text.substr(text.size() - 10), "(00000012)") << text;
}

TEST(SystemText, FoldsWhiteSpace) {
    struct Case {
        const wchar_t* raw;
        const wchar_t* folded;
    } cases[] = {
        {L"The system cannot find the file specified.\r\n", L"The system cannot find the file specified."},
        {L"line one\r\nline two\r\n", L"line one  line two"},
        {L"\ttabbed\tword ", L" tabbed word"},
        {L"  \t\r\n", L""},
        {L"", L""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Qz::foldSystemText(c.raw, 512), c.folded);
    EXPECT_EQ(Qz::foldSystemText(L"abcdef", 3), L"abc") << "stops at the given length";

    std::wstring text = L"untouched";
    EXPECT_FALSE(Qz::win32Message(text, 0xDEADBEEFu));
    EXPECT_EQ(text, L"untouched");
    ASSERT_TRUE(Qz::win32Message(text, 2));
    EXPECT_FALSE(text.empty());
    EXPECT_NE(text.back(), L'\n');
    EXPECT_NE(text.back(), L' ');
}

} // namespace
