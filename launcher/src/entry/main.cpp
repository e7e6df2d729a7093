#include <cstdio>

int main() {
    std::puts("launcher: not yet wired");
    return 21;
}
