// The server counts as bound when the name service looks users up in LDAP.
#include <fstream>
#include <sstream>
#include <string>

#include "qarnldap.h"

extern "C" int QARNLDAPIsBinded(void) {
    std::ifstream nsswitch("/etc/nsswitch.conf");
    std::string line;
    while (std::getline(nsswitch, line)) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string database, source;
        if (!(words >> database) || database != "passwd:") continue;
        while (words >> source) {
            if (source == "ldap") return 1;
        }
    }
    return 0;
}
