"""R6: every flip of one bit in the headers of heap states. Nothing measures it yet."""
import figure

TITLE = "heap states whose headers were damaged in every single bit"
TARGET = "1,000 states, no access outside the bank's memory, no hang"
COMMAND = "./run prove R6"


def measure(place):
    raise figure.NotMeasured("there is no program yet that damages headers")
