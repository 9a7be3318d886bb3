package com.velmora.tesk.zorvan.bench;

import java.util.List;

/**
 * What every contender asks for.
 *
 * @param attributes read of each row
 * @param links attributes of these whose values are names, each of which is looked up; empty when
 *     the names themselves are enough
 */
record Search(String baseDn, String filter, List<String> attributes, List<String> links) {

  static final int PAGE_SIZE = 1000;

  /** What is read of an object behind a name. */
  static final List<String> LINK_ATTRIBUTES = List.of("distinguishedName", "cn", "objectGUID");
}
