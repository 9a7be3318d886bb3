package com.velmora.tesk.zorvan.common.server.domain;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;

/**
 * A way to a server that is cut when it has carried a number of bytes back: all its connections
 * break and no new ones are taken.
 */
final class CuttingProxy implements AutoCloseable {
  private static final String LISTEN_ADDRESS = "127.0.0.31";

  private final ServerSocket listener;
  private final ExecutorService threads = Executors.newCachedThreadPool();
  private final String host;
  private final int port;
  private final long most;
  private long left;
  private volatile boolean cut;

  CuttingProxy(String host, int port, long bytes) throws IOException {
    this.host = host;
    this.port = port;
    this.most = bytes;
    this.left = bytes;
    this.listener = new ServerSocket(0, 10, InetAddress.getByName(LISTEN_ADDRESS));
    threads.submit(this::accept);
  }

  /** The address and port to connect to. */
  String address() {
    return LISTEN_ADDRESS + ":" + listener.getLocalPort();
  }

  boolean hasCut() {
    return cut;
  }

  /** How many bytes the server has sent so far. */
  synchronized long carried() {
    return most - left;
  }

  private Void accept() throws IOException {
    while (true) {
      Socket client = listener.accept();
      Socket server = new Socket(host, port);
      threads.submit(() -> copy(client, server, false));
      threads.submit(() -> copy(server, client, true));
    }
  }

  private Void copy(Socket from, Socket to, boolean counted) throws IOException {
    byte[] buffer = new byte[4096];
    try (from;
        to) {
      InputStream in = from.getInputStream();
      OutputStream out = to.getOutputStream();
      for (int n = in.read(buffer); n >= 0; n = in.read(buffer)) {
        out.write(buffer, 0, counted ? allowed(n) : n);
        if (cut) {
          listener.close();
          return null;
        }
      }
    }
    return null;
  }

  private synchronized int allowed(int wanted) {
    int carried = (int) Math.min(wanted, left);
    left -= carried;
    cut = left == 0;
    return carried;
  }

  @Override
  public void close() throws IOException {
    listener.close();
    threads.shutdownNow();
  }
}
