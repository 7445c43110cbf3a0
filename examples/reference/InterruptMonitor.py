from zelmor.imaging import Image
from zelmor.imaging.multithreading import InterruptMonitor

monitor = InterruptMonitor()
InterruptMonitor.set_thread_local_instance(monitor)
with Image.load("photo.jpg") as image:
    print(monitor.is_interrupted)  # another thread may call monitor.interrupt()
InterruptMonitor.set_thread_local_instance(None)
