/// Linked with a single room, to check that the room needs nothing else.
int main() {
    return 0;
}
