/* What starting a process costs at least. */
int main(void) {
  return 0;
}
