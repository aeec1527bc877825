#include <itc_admin.h>
#include <tpt.h>

#include <iostream>

int main() {
    std::cout << tpt_short_fname(itc_domain_path()) << std::endl;
}
