package com.velmora.tesk.zorvan.common.server.model;

import java.util.Properties;

/**
 * A node of the directory tree, filled by the library through its setters.
 *
 * <p>Whether a node may hold children ({@link #isContainer()}) and whether it has none ({@link
 * #isLeaf()}) are separate answers; the node of the policies container gives true to both.
 */
public class DirectoryObject {
  private String guid;
  private String relativeName;
  private String objectClass;
  private String name;
  private boolean leaf;
  private boolean container;
  private Properties childObjects = new Properties();

  /** Sets the braced {@code objectGUID}. */
  public void setGuid(String guid) {
    this.guid = guid;
  }

  /** Sets the distinguished name. */
  public void setRelativeName(String relativeName) {
    this.relativeName = relativeName;
  }

  /** Sets the most specific object class. */
  public void setObjectClass(String objectClass) {
    this.objectClass = objectClass;
  }

  /** Sets the name to show. */
  public void setName(String name) {
    this.name = name;
  }

  /** Sets whether the node has no children. */
  public void setIsLeaf(boolean leaf) {
    this.leaf = leaf;
  }

  /** Sets whether the node's class may hold children. */
  public void setIsContainer(boolean container) {
    this.container = container;
  }

  /** Sets the children, {@code DirectoryObject}s by their {@link #getID()}. */
  public void setChildObjects(Properties childObjects) {
    this.childObjects = childObjects;
  }

  /**
   * The key of this node among its siblings: the GUID, or the distinguished name of a node whose
   * GUID could not be read. Never null, because {@link Properties} takes no null key.
   */
  public String getID() {
    if (guid != null) {
      return guid;
    }
    return relativeName != null ? relativeName : "";
  }

  public String getGuid() {
    return guid;
  }

  public String getRelativeName() {
    return relativeName;
  }

  public String getObjectClass() {
    return objectClass;
  }

  public String getName() {
    return name;
  }

  public boolean isLeaf() {
    return leaf;
  }

  public boolean isContainer() {
    return container;
  }

  public Properties getChildObjects() {
    return childObjects;
  }

  @Override
  public String toString() {
    return relativeName != null ? relativeName : String.valueOf(name);
  }
}
