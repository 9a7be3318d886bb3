package com.velmora.tesk.zorvan.common.server;

import java.io.IOException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserPrincipal;
import java.util.Set;

/**
 * Folders that nobody but this user and the superuser can put anything into, or turn into another
 * folder: they and all of their parents belong to one of the two, and others cannot write to them.
 * A parent that everybody may write to will do where it is sticky, as the system's temporary folder
 * is, because others cannot rename there what is not theirs.
 */
final class CacheFolder {
  private static final Set<PosixFilePermission> OWNER_ONLY =
      PosixFilePermissions.fromString("rwx------");
  private static final FileAttribute<?> OWNER_ONLY_FROM_THE_START =
      PosixFilePermissions.asFileAttribute(OWNER_ONLY);
  private static final int STICKY = 01000;
  private static final int SUPERUSER = 0;

  private CacheFolder() {}

  /**
   * A folder of this user's alone, made where it is missing.
   *
   * @param parent the folder that it is in, made where it is missing
   * @param below its way from there
   * @throws IOException when others could change what is in it; the message says where
   */
  static Path make(Path parent, Path below) throws IOException {
    try {
      Files.createDirectories(parent, OWNER_ONLY_FROM_THE_START);
      // The way without links is the one that is checked and used.
      Path folder = parent.toRealPath();
      UserPrincipal user = user(folder);
      check(folder, user);
      for (Path part : below) {
        folder = folder.resolve(part);
        makeOwn(folder, user);
      }
      return folder;
    } catch (FileSystemException e) {
      throw e.getReason() == null ? new IOException("no access to " + e.getFile(), e) : e;
    }
  }

  /** A new folder of this user's alone, in the system's temporary folder. */
  static Path makeTemporary() throws IOException {
    return Files.createTempDirectory("zorvan-native-", OWNER_ONLY_FROM_THE_START).toRealPath();
  }

  static boolean isWritableByOthers(Path file) throws IOException {
    Set<PosixFilePermission> permissions =
        Files.getPosixFilePermissions(file, LinkOption.NOFOLLOW_LINKS);
    return permissions.contains(PosixFilePermission.GROUP_WRITE)
        || permissions.contains(PosixFilePermission.OTHERS_WRITE);
  }

  private static void makeOwn(Path folder, UserPrincipal user) throws IOException {
    try {
      Files.createDirectory(folder, OWNER_ONLY_FROM_THE_START);
      return;
    } catch (FileAlreadyExistsException e) {
      if (!Files.isDirectory(folder, LinkOption.NOFOLLOW_LINKS)) {
        throw e;
      }
    }
    if (!Files.getOwner(folder, LinkOption.NOFOLLOW_LINKS).equals(user)) {
      throw new IOException(folder + " belongs to another user");
    }
    if (!Files.getPosixFilePermissions(folder, LinkOption.NOFOLLOW_LINKS).equals(OWNER_ONLY)) {
      Files.setPosixFilePermissions(folder, OWNER_ONLY);
    }
  }

  private static void check(Path folder, UserPrincipal user) throws IOException {
    for (Path part = folder; part != null; part = part.getParent()) {
      if (!Files.getOwner(part, LinkOption.NOFOLLOW_LINKS).equals(user) && !isSuperusers(part)) {
        throw new IOException(part + " belongs to another user");
      }
      boolean sticky = part != folder && (mode(part) & STICKY) != 0;
      if (isWritableByOthers(part) && !sticky) {
        throw new IOException("others can write to " + part);
      }
    }
  }

  // Whoever owns a file that was just made. The name that the system gives the user may have no
  // account behind it.
  private static UserPrincipal user(Path folder) throws IOException {
    Path made = Files.createTempFile(folder, ".zorvan", ".new");
    try {
      return Files.getOwner(made, LinkOption.NOFOLLOW_LINKS);
    } finally {
      Files.delete(made);
    }
  }

  private static boolean isSuperusers(Path file) throws IOException {
    return (Integer) Files.getAttribute(file, "unix:uid", LinkOption.NOFOLLOW_LINKS) == SUPERUSER;
  }

  private static int mode(Path file) throws IOException {
    return (Integer) Files.getAttribute(file, "unix:mode", LinkOption.NOFOLLOW_LINKS);
  }
}
