// Placeholder: the device profile label writer. Its own work replaces this file.
#ifndef PROFILE_PROFILELABEL_H_
#define PROFILE_PROFILELABEL_H_

class ProfileLabel {
 public:
  // Writes the label document at outputPath from the programmable settings file.
  // 0 after the settings file was mapped, -1 when it cannot be opened, -2 when it
  // cannot be mapped.
  static int print_profile_label(const char* settingsPath, const char* outputPath);
};

#endif  // PROFILE_PROFILELABEL_H_
