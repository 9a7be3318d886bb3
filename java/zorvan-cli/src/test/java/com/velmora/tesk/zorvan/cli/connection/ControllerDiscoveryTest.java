package com.velmora.tesk.zorvan.cli.connection;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTimeoutPreemptively;

import com.velmora.tesk.zorvan.cli.connection.ControllerDiscovery.NoAnswerException;
import java.io.IOException;
import java.net.DatagramPacket;
import java.net.DatagramSocket;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.time.Duration;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

class ControllerDiscoveryTest {
  private static final String NO_DNS = "the runtime of these tests there has no module for DNS";

  private static final int SERVER_FAILURE = 2;
  private static final int NO_SUCH_NAME = 3;

  private DatagramSocket nameServer;

  @BeforeEach
  void listen() throws IOException {
    nameServer = new DatagramSocket(new InetSocketAddress(InetAddress.getLoopbackAddress(), 0));
  }

  @AfterEach
  void stop() {
    nameServer.close();
  }

  private List<String> controllers(Duration limit) throws NoAnswerException {
    String address = "dns://127.0.0.1:" + nameServer.getLocalPort();
    return ControllerDiscovery.controllersOf("corp.example.com", address, limit);
  }

  // Repeats each question with a result and no records.
  private void answerAlwaysWith(int result) {
    Thread answering =
        new Thread(
            () -> {
              byte[] bytes = new byte[512];
              try {
                while (true) {
                  DatagramPacket packet = new DatagramPacket(bytes, bytes.length);
                  nameServer.receive(packet);
                  bytes[2] |= (byte) 0x80;
                  bytes[3] = (byte) (0x80 | result);
                  nameServer.send(packet);
                }
              } catch (IOException e) {
                // The socket was closed: the test is over.
              }
            });
    answering.setDaemon(true);
    answering.start();
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = NO_DNS)
  void aSilentNameServerIsCalledSilentWithinTheLimit() {
    NoAnswerException failure =
        assertTimeoutPreemptively(
            Duration.ofSeconds(2),
            () -> assertThrows(NoAnswerException.class, () -> controllers(Duration.ofMillis(200))));
    assertEquals("The name server does not answer", failure.getMessage());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = NO_DNS)
  void aNameServerThatFailsDoesNotMeanThatThereIsNoController() {
    answerAlwaysWith(SERVER_FAILURE);
    NoAnswerException failure =
        assertThrows(NoAnswerException.class, () -> controllers(Duration.ofSeconds(10)));
    assertEquals(
        "The name server cannot say: DNS server failure [response code 2]", failure.getMessage());
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = NO_DNS)
  void aDomainThatTheNameServerDoesNotKnowHasNoControllers() throws NoAnswerException {
    answerAlwaysWith(NO_SUCH_NAME);
    assertEquals(List.of(), controllers(Duration.ofSeconds(10)));
  }

  @Test
  void recordsAreOrderedByPriorityThenWeightAndThoseOutsideTheDomainDropped() {
    assertEquals(
        List.of("near.example.com", "heavy.example.com", "light.example.com"),
        ControllerDiscovery.hosts(
            List.of(
                "10 1 389 light.example.com.",
                "10 90 389 heavy.example.com.",
                "0 1 389 near.example.com.",
                "0 1 389 near.example.com.",
                "0 1 389 dc.example.org.",
                "0 1 389 notexample.com.",
                "nonsense"),
            "Example.com"));
  }
}
