package com.velmora.tesk.zorvan.cli.output;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.channels.Channels;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.OpenOption;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.SecureRandom;
import java.util.EnumSet;
import java.util.HexFormat;
import java.util.Set;

/**
 * A new file that has no name of its own yet. Nobody can guess what it is called, it is never a
 * link or a file that was there before, and only this user can read it until it takes the place of
 * another file.
 */
final class UnfinishedFile {
  private static final Set<PosixFilePermission> WRITE_BY_OTHERS =
      EnumSet.of(PosixFilePermission.GROUP_WRITE, PosixFilePermission.OTHERS_WRITE);
  private static final int RANDOM_BYTES = 12;
  private static final Set<OpenOption> NEW =
      Set.of(StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE, LinkOption.NOFOLLOW_LINKS);
  private static final Set<PosixFilePermission> OWNER_ONLY =
      PosixFilePermissions.fromString("rw-------");
  private static final Set<PosixFilePermission> GROUP =
      PosixFilePermissions.fromString("---rwx---");

  private final Path path;
  private final OutputStream stream;

  private UnfinishedFile(Path path, OutputStream stream) {
    this.path = path;
    this.stream = stream;
  }

  /** A new file in a folder. */
  static UnfinishedFile in(Path folder) throws IOException {
    byte[] random = new byte[RANDOM_BYTES];
    new SecureRandom().nextBytes(random);
    Path path = folder.resolve(".zorvan-" + HexFormat.of().formatHex(random) + ".unfinished");
    FileAttribute<?>[] attributes =
        view(folder) == null
            ? new FileAttribute<?>[0]
            : new FileAttribute<?>[] {PosixFilePermissions.asFileAttribute(OWNER_ONLY)};
    return new UnfinishedFile(
        path, Channels.newOutputStream(Files.newByteChannel(path, NEW, attributes)));
  }

  /** Takes what is written. Closing it is up to the caller. */
  OutputStream stream() {
    return stream;
  }

  /**
   * Gives the file its name, and with it the mode, group and owner of the file that it replaces. A
   * link of that name is replaced itself. Without a file to replace, it stays its user's alone.
   */
  void rename(Path name) throws IOException {
    if (view(path) != null) {
      takeAccess(name);
    }
    Files.move(path, name, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
  }

  void delete() throws IOException {
    Files.deleteIfExists(path);
  }

  private void takeAccess(Path name) throws IOException {
    PosixFileAttributes replaced;
    try {
      replaced = view(name).readAttributes();
    } catch (NoSuchFileException e) {
      return;
    }
    PosixFileAttributeView mine = view(path);
    PosixFileAttributes fresh = mine.readAttributes();
    boolean othersFile = !replaced.owner().equals(fresh.owner());
    if (!replaced.isRegularFile() || othersFile && isOpenToOthers(path.getParent())) {
      // Where others can put a file, its owner could have put it there to be given the rows.
      return;
    }
    Set<PosixFilePermission> permissions = EnumSet.noneOf(PosixFilePermission.class);
    permissions.addAll(replaced.permissions());
    if (!replaced.group().equals(fresh.group())) {
      try {
        mine.setGroup(replaced.group());
      } catch (IOException e) {
        // What its group was allowed is not meant for this user's group.
        permissions.removeAll(GROUP);
      }
    }
    mine.setPermissions(permissions);
    if (othersFile) {
      try {
        mine.setOwner(replaced.owner());
      } catch (IOException e) {
        // Only the superuser can give a file away; it stays this user's.
      }
    }
  }

  /** Whether others than the folder's owner may put files into it. */
  static boolean isOpenToOthers(Path folder) throws IOException {
    PosixFileAttributeView view = view(folder);
    return view != null
        && view.readAttributes().permissions().stream().anyMatch(WRITE_BY_OTHERS::contains);
  }

  // Null where files have no mode.
  private static PosixFileAttributeView view(Path file) {
    return Files.getFileAttributeView(
        file, PosixFileAttributeView.class, LinkOption.NOFOLLOW_LINKS);
  }
}
