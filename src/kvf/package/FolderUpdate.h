#ifndef VELOX_KVF_PACKAGE_FOLDERUPDATE_H
#define VELOX_KVF_PACKAGE_FOLDERUPDATE_H

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/process/TemporaryFolder.h"
#include "kvf/process/Unfinished.h"

/// The parts of a folder, made beside their places and installed when all of them are complete.
/// Unless install() returns, the folder is as it was, and if it was not there, it is not there;
/// only SIGKILL and a lost machine can leave some parts old and some new, each of them whole.
///
/// Names of parts are relative to the folder. All of it throws FileError, and Interruption.
class FolderUpdate {
 public:
  /// The folder, and those that lead to it, may be missing.
  explicit FolderUpdate(const std::filesystem::path& folder);

  /// Absolute, and without links.
  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

  /// A text. Another one in its place is kept with ".orig" after its name.
  void write(const std::filesystem::path& part, std::string_view text, unsigned mode);
  /// A regular file, with the mode of the source if none is given.
  void copy(const std::filesystem::path& source, const std::filesystem::path& part,
            std::optional<unsigned> mode = std::nullopt);
  /// A folder with all below it. Links stay links, also those that lead out of it, which are
  /// returned; absolute ones that lead into it become relative.
  std::vector<std::filesystem::path> copyTree(const std::filesystem::path& source,
                                              const std::filesystem::path& part);

  /// Where a part is until install(), for what completes it there.
  [[nodiscard]] std::filesystem::path inTheMaking(const std::filesystem::path& part) const {
    return parts() / part;
  }

  /// Moves the parts to their places. A file takes over owner, mode and attributes of the one that
  /// it replaces. Returns where former texts are kept, and what else was in the place of a part
  /// without being of its kind, such as a link.
  std::vector<std::filesystem::path> install();

 private:
  /// Where the parts are made.
  [[nodiscard]] std::filesystem::path parts() const { return beside_.path() / "parts"; }
  [[nodiscard]] TemporaryFolder folderBeside();
  [[nodiscard]] std::filesystem::path prepared(const std::filesystem::path& part);
  void place(const std::filesystem::path& part);
  void keepFormer(const std::filesystem::path& target);

  class MadeFolders final : private Unfinished {
   public:
    MadeFolders() = default;
    MadeFolders(const MadeFolders&) = delete;
    MadeFolders& operator=(const MadeFolders&) = delete;
    ~MadeFolders() override { takeBack(); }
    /// With those that lead to it, where it is not there.
    void make(const std::filesystem::path& folder);
    void keep() { folders_.clear(); }

   private:
    void takeBack() noexcept override;

    std::vector<std::filesystem::path> folders_;
  };

  /// What install() has done.
  class Moves final : private Unfinished {
   public:
    explicit Moves(TemporaryFolder& beside) : beside_(beside) {}
    Moves(const Moves&) = delete;
    Moves& operator=(const Moves&) = delete;
    ~Moves() override { takeBack(); }
    void move(const std::filesystem::path& fresh, const std::filesystem::path& target);
    void exchange(const std::filesystem::path& fresh, const std::filesystem::path& target);
    /// Gives a file a second name; false: the name is not free.
    bool link(const std::filesystem::path& file, const std::filesystem::path& name);
    void keep() { moves_.clear(); }

   private:
    struct Move {
      enum class Kind { moved, exchanged, linked } kind;
      std::filesystem::path fresh, target;
      std::filesystem::path former;  ///< where the target is for a moment
      bool done = false;
    };

    /// Notes it beforehand, as noting takes memory.
    Move& noted(Move::Kind kind, const std::filesystem::path& fresh,
                const std::filesystem::path& target);
    // An error number, or 0.
    static int exchangeNames(const Move& move) noexcept;
    static int undo(const Move& move) noexcept;
    void takeBack() noexcept override;

    TemporaryFolder& beside_;
    std::vector<Move> moves_;
  };

  std::filesystem::path folder_;
  // Taken back from the last one to the first one.
  MadeFolders madeFolders_;
  TemporaryFolder beside_;
  Moves moves_;
  std::vector<std::filesystem::path> parts_;
  std::set<std::filesystem::path> texts_;
  std::vector<std::filesystem::path> kept_;
};

#endif
