"""A service that says what a test wants it to say."""
import socket
import threading

import harness


class FakeService:
    """Answers every request on its socket with the same bytes, then closes the connection."""

    def __init__(self, path, answer):
        self.answer = answer
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(str(path))
        self.listener.listen()
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        while True:
            try:
                peer, _ = self.listener.accept()
            except OSError:
                return
            with peer:
                peer.settimeout(harness.LIMIT)
                try:
                    peer.recv(65536)
                    peer.sendall(self.answer)
                except OSError:
                    pass

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join()
