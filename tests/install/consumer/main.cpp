// An application as somebody else would write it, against the installed library alone.
#include <cstdio>
#include <string>

std::string compose_header();

int main()
{
    const std::string header = compose_header();
    std::fputs(header.c_str(), stdout);
    return header.find("Subject: consumer\r\n") != std::string::npos ? 0 : 1;
}
