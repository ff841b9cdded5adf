/* The network interfaces: no traffic, but a sysfs identity, up/down state and a PTP clock. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/etherdevice.h>
#include <linux/ethtool.h>
#include <linux/net_tstamp.h>
#include <linux/rtnetlink.h>
#include <linux/slab.h>

#include "boardModule.h"
#include "board/wire/netInterface.h"

static struct hx_interface interfaces[BOARD_MAX_INTERFACES];

struct hx_private {
	struct hx_interface *interface;
};

struct hx_interface *hx_interface_at(int position)
{
	return &interfaces[position];
}

static struct hx_interface *of(struct net_device *net)
{
	return ((struct hx_private *)netdev_priv(net))->interface;
}

/* ------------------------------------------------------------------------------------- vendor and device files */

static const struct board_interface_config *config_of(struct device *device)
{
	return &hx_config.interfaces[to_platform_device(device)->id];
}

static ssize_t vendor_show(struct device *device, struct device_attribute *attribute, char *text)
{
	return strscpy(text, config_of(device)->vendor, PAGE_SIZE); /* byte for byte */
}
static DEVICE_ATTR_RO(vendor);

static ssize_t device_show(struct device *device, struct device_attribute *attribute, char *text)
{
	return strscpy(text, config_of(device)->device, PAGE_SIZE);
}
static DEVICE_ATTR_RO(device);

static struct attribute *identity_attrs[] = { &dev_attr_vendor.attr, &dev_attr_device.attr, NULL };
ATTRIBUTE_GROUPS(identity);

/* ------------------------------------------------------------------------------------------------- the interface */

static int tell(struct net_device *net, enum board_event_kind kind)
{
	struct board_event_config event = { .kind = kind, .target = BOARD_TARGET_INTERFACE(of(net)->position) };
	unsigned long flags;
	u64 raw_ns;
	struct board *board = hx_lock(&flags, &raw_ns);
	int error = -ENODEV;

	if (board) {
		hx_follow_system_clock(board, raw_ns);
		error = board_do_event(board, raw_ns, &event);
	}
	hx_unlock(flags);
	return error;
}

static int open(struct net_device *net)
{
	const int error = tell(net, BOARD_EVENT_INTERFACE_UP);

	if (!error)
		netif_start_queue(net);
	return error;
}

static int stop(struct net_device *net)
{
	netif_stop_queue(net);
	tell(net, BOARD_EVENT_INTERFACE_DOWN);
	return 0;
}

static netdev_tx_t transmit(struct sk_buff *packet, struct net_device *net)
{
	dev_kfree_skb(packet);
	return NETDEV_TX_OK;
}

static const struct net_device_ops net_ops = {
	.ndo_open = open,
	.ndo_stop = stop,
	.ndo_start_xmit = transmit,
};

static int get_ts_info(struct net_device *net, struct ethtool_ts_info *info)
{
	const struct hx_interface *interface = of(net);
	struct board_call call = { .kind = BOARD_CALL_IOCTL,
				   .file = BOARD_FILE_SOCKET,
				   .detail = BOARD_WIRE_SIOCETHTOOL };
	struct board_fault_outcome outcome;
	unsigned long flags;
	u64 raw_ns;
	struct board *board = hx_lock(&flags, &raw_ns);
	int error = 0;

	call.target = BOARD_TARGET_INTERFACE(interface->position);
	if (board)
		error = hx_fault(board, raw_ns, &call, &outcome);
	hx_unlock(flags);
	info->phc_index = interface->clock ? ptp_clock_index(interface->clock) : -1;
	info->so_timestamping = SOF_TIMESTAMPING_RX_SOFTWARE | SOF_TIMESTAMPING_SOFTWARE;
	if (!interface->clock)
		return error;
	info->so_timestamping |=
		SOF_TIMESTAMPING_TX_HARDWARE | SOF_TIMESTAMPING_RX_HARDWARE | SOF_TIMESTAMPING_RAW_HARDWARE;
	info->tx_types = BIT(HWTSTAMP_TX_OFF) | BIT(HWTSTAMP_TX_ON);
	info->rx_filters = BIT(HWTSTAMP_FILTER_NONE) | BIT(HWTSTAMP_FILTER_ALL);
	return error;
}

static const struct ethtool_ops ethtool_ops = {
	.get_ts_info = get_ts_info,
	.get_link = ethtool_op_get_link,
};

/* ------------------------------------------------------------------------------------------- coming and going */

static int create_device(struct hx_interface *interface)
{
	struct platform_device *device = platform_device_alloc("halvexnic", interface->position);
	int error;

	if (!device)
		return -ENOMEM;
	device->dev.groups = identity_groups;
	error = platform_device_add(device);
	if (error) {
		platform_device_put(device);
		return error;
	}
	interface->device = device;
	return 0;
}

static int create_net(struct hx_interface *interface)
{
	struct net_device *net = alloc_etherdev(sizeof(struct hx_private));
	int error;

	if (!net)
		return -ENOMEM;
	((struct hx_private *)netdev_priv(net))->interface = interface;
	strscpy(net->name, hx_config.interfaces[interface->position].name, IFNAMSIZ);
	net->netdev_ops = &net_ops;
	net->ethtool_ops = &ethtool_ops;
	SET_NETDEV_DEV(net, &interface->device->dev);
	eth_hw_addr_random(net);
	error = register_netdev(net);
	if (error) {
		free_netdev(net);
		return error;
	}
	interface->net = net;
	return 0;
}

int hx_interfaces_create(void)
{
	int position, error = 0;

	for (position = 0; !error && position < (int)hx_config.interface_count; ++position) {
		struct hx_interface *interface = &interfaces[position];

		memset(interface, 0, sizeof(*interface));
		interface->position = position;
		error = create_device(interface);
		if (!error)
			error = create_net(interface);
		if (!error && hx_config.interfaces[position].phc_index >= 0)
			error = hx_clock_create(interface);
	}
	return error;
}

int hx_interfaces_bring_up(void)
{
	int position, error = 0;

	rtnl_lock();
	for (position = 0; !error && position < (int)hx_config.interface_count; ++position)
		if (hx_config.interfaces[position].is_up)
			error = dev_open(interfaces[position].net, NULL);
	rtnl_unlock();
	return error;
}

void hx_interfaces_destroy(void)
{
	int position;

	for (position = 0; position < BOARD_MAX_INTERFACES; ++position) {
		struct hx_interface *interface = &interfaces[position];

		hx_clock_destroy(interface);
		if (interface->net) {
			unregister_netdev(interface->net);
			free_netdev(interface->net);
		}
		interface->net = NULL;
		if (interface->device)
			platform_device_unregister(interface->device);
		interface->device = NULL;
	}
}
