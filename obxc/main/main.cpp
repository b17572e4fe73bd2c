#include "main/start.hpp"

int main(int argc, char** argv) {
    return run(argc, argv);
}
