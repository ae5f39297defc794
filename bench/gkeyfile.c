/* GLib's reader of key files, for comparison.

   Usage: gkeyfile FILE */
#include <glib.h>

int main(int argc, char** argv) {
  GKeyFile* file = g_key_file_new();
  const gboolean loaded =
      argc == 2 && g_key_file_load_from_file(file, argv[1], G_KEY_FILE_NONE, NULL);
  g_key_file_free(file);
  return loaded ? 0 : 2;
}
